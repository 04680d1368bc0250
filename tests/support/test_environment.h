// A system root, a home and a temporary folder of its own for every test. Tests include this header
// first; it includes most C++ and POSIX headers that they need.
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

// Sets an environment variable during the life of the object; null removes it.
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

// Makes a new folder and points ORVIK_SYSTEM_ROOT, HOME and TMPDIR below it during the life of the
// object. Also removes the variables that would move the trash or choose a language. The destructor
// restores the variables and removes the folder with its content, even read-only files. Objects may
// be nested.
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

// The fixture from which most tests derive.
class EnvironmentTest : public ::testing::Test {
 protected:
  fs::path At(const fs::path& name) const { return top_ / name; }

  const ScopedEnvironment env_;
  const fs::path top_ = env_.temp();  // the folder for the test's own files
};

// The content of the file. When it cannot be read, the test fails and the result is "".
std::string ReadFile(const fs::path& path);

// Replaces the file. Makes missing folders.
void WriteFile(const fs::path& path, const std::string& bytes);

std::string Repeated(const std::string& text, int count);

// The parts of a text between separators, without empty ones.
std::vector<std::string> Split(std::string_view text, char separator = ' ');

// A table of inputs and results as text: ";" ends a row, blanks end a cell, and "-" is an empty
// cell.
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

// Converts strings to standard strings, which can be compared in lists.
template <typename String>
auto TextsOf(std::initializer_list<String> strings) {
  std::vector<std::basic_string<typename String::Unit>> texts;
  for (const String& string : strings) texts.emplace_back(string.View());
  return texts;
}

// Whether `text` contains `part`; a failure shows `text`.
testing::AssertionResult Contains(const std::string& text, const std::string& part);

// The sorted names of a folder's entries.
std::vector<std::string> NamesIn(const fs::path& folder);

// Makes entries and their missing parents in the folder: "a" is a file with the content "x",
// "a=text" a file with the content "text", "a/" a folder, "a->text" a symbolic link, "a|" a pipe.
void MakeTree(const fs::path& folder, const std::vector<std::string>& entries);

// Lists all entries below the folder in this notation, sorted.
std::vector<std::string> TreeIn(const fs::path& folder);

// The same as one text with a blank between the entries, for names and contents without blanks.
void Plant(const fs::path& folder, std::string_view entries);
std::string TreeText(const fs::path& folder);

// Limits a resource of this process during its life.
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

// Limits the size of the files that this process writes during its life.
struct FileSizeLimit : ResourceLimit {
  explicit FileSizeLimit(rlim_t bytes) : ResourceLimit(RLIMIT_FSIZE, bytes) {}
};

// Runs `body` with 0, 1, ... in `count` processes at once. Returns the exit status of each: the
// result of the body, or 128 + signal.
std::vector<int> InProcesses(int count, const std::function<int(int)>& body);

// A second process, which runs `body` and then waits until it is killed.
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

// The result of a program.
struct CommandResult {
  int status = -1;  // exit status, or 128 + signal
  std::string out;
  std::string err;
};

// Runs the body in a process of its own. The exit status is the body's result.
CommandResult RunChild(const std::function<int()>& body, const std::string& input = {});

// Replaces this process by a program; looks up argv[0] in PATH. Returns 127 on failure.
int Execute(const std::vector<std::string>& argv);

// Runs a program with this process's environment and waits for it.
CommandResult RunCommand(const std::vector<std::string>& argv, const std::string& input = {});

// The folder of the programs under test (build/<preset>/bin).
fs::path ProgramFolder();

}  // namespace orvik::test
