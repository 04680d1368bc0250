// A folder of its own for every test: the system root, the home and the temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orvik::test {

// Sets a variable of the environment for the life of the object; null removes it.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value);
  ScopedVariable(const char* name, const std::string& value)
      : ScopedVariable(name, value.c_str()) {}
  ~ScopedVariable();
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

// Makes a fresh folder and points ORVIK_SYSTEM_ROOT, HOME and TMPDIR below it for the life of the
// object; afterwards puts the variables back and removes the folder with all it holds (also what
// was made read-only). Objects nest.
class ScopedEnvironment {
 public:
  ScopedEnvironment();
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  const std::filesystem::path& folder() const { return folder_; }
  std::filesystem::path system_root() const { return folder_ / "root"; }
  std::filesystem::path home() const { return folder_ / "home"; }
  std::filesystem::path temp() const { return folder_ / "tmp"; }

 private:
  const std::filesystem::path folder_;
  const ScopedVariable root_variable_, home_variable_, temp_variable_;
};

// The fixture most tests derive from.
class EnvironmentTest : public ::testing::Test {
 protected:
  ScopedEnvironment env_;
};

// The whole file; fails the test and gives "" when it cannot be read.
std::string ReadFile(const std::filesystem::path& path);

// Replaces the file, making missing folders.
void WriteFile(const std::filesystem::path& path, const std::string& bytes);

// What a program left behind.
struct CommandResult {
  int status = -1;  // exit status, or 128 + signal
  std::string out;
  std::string err;
};

// Runs a program (argv[0] found through PATH) with this process's environment and waits for it.
CommandResult RunCommand(const std::vector<std::string>& argv, const std::string& input = {});

// The folder of the programs under test (build/<preset>/bin).
std::filesystem::path ProgramFolder();

}  // namespace orvik::test
