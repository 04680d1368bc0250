// A folder of its own for every test: the system root, the home and the temporary folder. Tests
// include this header first, and with it what nearly all of them use of C++ and POSIX.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace orvik::test {

namespace fs = std::filesystem;

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
// object, and takes away what else would move the trash or choose a language; afterwards puts the
// variables back and removes the folder with all it holds (also what was made read-only). Objects
// nest.
class ScopedEnvironment {
 public:
  ScopedEnvironment();
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  const fs::path& folder() const { return folder_; }
  fs::path system_root() const { return folder_ / "root"; }
  fs::path home() const { return folder_ / "home"; }
  fs::path temp() const { return folder_ / "tmp"; }

 private:
  const fs::path folder_;
  const ScopedVariable root_variable_, home_variable_, temp_variable_;
  const ScopedVariable unset_[5] = {{"XDG_DATA_HOME", nullptr},
                                    {"LC_ALL", nullptr},
                                    {"LC_COLLATE", nullptr},
                                    {"LC_CTYPE", nullptr},
                                    {"LANG", nullptr}};
};

// The fixture most tests derive from.
class EnvironmentTest : public ::testing::Test {
 protected:
  fs::path At(const fs::path& name) const { return top_ / name; }

  const ScopedEnvironment env_;
  const fs::path top_ = env_.temp();  // where a test puts its own files
};

// The whole file; fails the test and gives "" when it cannot be read.
std::string ReadFile(const fs::path& path);

// Replaces the file, making missing folders.
void WriteFile(const fs::path& path, const std::string& bytes);

std::string Repeated(const std::string& text, int count);

// The pieces of a text between separators, without empty ones.
std::vector<std::string> Split(std::string_view text, char separator = ' ');

// A table of inputs and results as text: ";" ends a row, blanks end a cell, "-" is an empty cell.
template <std::size_t columns, typename String = std::u16string>
std::vector<std::array<String, columns>> Rows(std::string_view text) {
  std::vector<std::array<String, columns>> rows;
  for (const std::string& row : Split(text, ';')) {
    const std::vector<std::string> cells = Split(row);
    EXPECT_EQ(cells.size(), columns) << row;
    for (std::size_t i = 0; i < columns; ++i) {
      if (i == 0) rows.emplace_back();
      if (cells.at(i) != "-") rows.back()[i].assign(cells[i].begin(), cells[i].end());
    }
  }
  return rows;
}

// Strings as standard ones, so that lists of them are compared by their units.
template <typename String>
auto TextsOf(std::initializer_list<String> strings) {
  std::vector<std::basic_string<typename String::Unit>> texts;
  for (const String& string : strings) texts.emplace_back(string.View());
  return texts;
}

// Whether the part is in the text; the failure shows the text.
testing::AssertionResult Contains(const std::string& text, const std::string& part);

// The names of a folder's entries, in order.
std::vector<std::string> NamesIn(const fs::path& folder);

// Makes entries below the folder, with the folders above them: "a" a file that holds "x", "a=text"
// one that holds the text, "a/" a folder, "a->text" a symbolic link, "a|" a pipe.
void MakeTree(const fs::path& folder, const std::vector<std::string>& entries);

// All entries below the folder in these words, in order.
std::vector<std::string> TreeIn(const fs::path& folder);

// The same with one blank between the entries, for names and contents without blanks.
void Plant(const fs::path& folder, std::string_view entries);
std::string TreeText(const fs::path& folder);

// While it lives, a resource of this process has the limit.
class ResourceLimit {
 public:
  using Resource = decltype(RLIMIT_FSIZE);
  ResourceLimit(Resource resource, rlim_t limit);
  ~ResourceLimit() { setrlimit(resource_, &old_); }
  ResourceLimit(const ResourceLimit&) = delete;
  ResourceLimit& operator=(const ResourceLimit&) = delete;

 private:
  const Resource resource_;
  rlimit old_;
};

// While it lives, this process writes no file beyond the size.
struct FileSizeLimit : ResourceLimit {
  explicit FileSizeLimit(rlim_t bytes) : ResourceLimit(RLIMIT_FSIZE, bytes) {}
};

// Runs the body with 0, 1, ... in that many processes at once, and gives the exit status of each:
// what the body returned, or 128 + signal.
std::vector<int> InProcesses(int count, const std::function<int(int)>& body);

// A process beside the test that carries the body out and then waits to be killed.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<void()>& body = [] {});
  ~OtherProcess() { End(); }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  pid_t pid() const { return pid_; }
  void Kill();  // leaves a zombie
  void End();

 private:
  pid_t pid_;
};

// The outcome of a program.
struct CommandResult {
  int status = -1;  // exit status, or 128 + signal
  std::string out;
  std::string err;
};

// Runs the body in a process of its own, whose exit status is what it returns.
CommandResult RunChild(const std::function<int()>& body, const std::string& input = {});

// Becomes a program, argv[0] found through PATH; gives 127 when that fails.
int Execute(const std::vector<std::string>& argv);

// Runs a program with this process's environment and waits for it.
CommandResult RunCommand(const std::vector<std::string>& argv, const std::string& input = {});

// The folder of the programs under test (build/<preset>/bin).
fs::path ProgramFolder();

}  // namespace orvik::test
