#include "tests/support/test_environment.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <fstream>
#include <sstream>
#include <thread>

namespace orvik::test {
namespace {

fs::path FreshFolder() {
  std::string pattern = (fs::temp_directory_path() / "orvik-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) abort();
  for (const char* name : {"root", "home", "tmp"}) fs::create_directory(fs::path(pattern) / name);
  return pattern;
}

void MakeWritable(const fs::path& folder) {
  std::error_code error;
  fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, error);
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (entry.is_directory(error) && !entry.is_symlink(error)) MakeWritable(entry.path());
  }
}

int StatusOf(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ScopedVariable::ScopedVariable(const char* name, const char* value) : name_(name) {
  if (const char* old = getenv(name)) old_ = old;
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

ScopedVariable::~ScopedVariable() {
  if (old_) {
    setenv(name_, old_->c_str(), 1);
  } else {
    unsetenv(name_);
  }
}

ScopedEnvironment::ScopedEnvironment()
    : folder_(FreshFolder()),
      root_variable_("ORVIK_SYSTEM_ROOT", system_root().string()),
      home_variable_("HOME", home().string()),
      temp_variable_("TMPDIR", temp().string()) {}

ScopedEnvironment::~ScopedEnvironment() {
  MakeWritable(folder_);
  std::error_code error;
  fs::remove_all(folder_, error);
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.flush();
  EXPECT_TRUE(file.good()) << path;
}

std::string Repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream all{std::string(text)};
  for (std::string piece; std::getline(all, piece, separator);) {
    if (!piece.empty()) pieces.push_back(piece);
  }
  return pieces;
}

testing::AssertionResult Contains(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << '"' << part << "\" is not in: " << text;
}

std::vector<std::string> NamesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void MakeTree(const fs::path& folder, const std::vector<std::string>& entries) {
  for (const std::string& entry : entries) {
    const std::size_t link = entry.find("->"), text = entry.find('=');
    const fs::path path = folder / entry.substr(0, std::min(link, text));
    if (link != entry.npos) {
      fs::create_directories(path.parent_path());
      fs::create_symlink(entry.substr(link + 2), path);
    } else if (entry.ends_with('|')) {
      fs::create_directories(path.parent_path());
      EXPECT_EQ(mkfifo((folder / entry.substr(0, entry.size() - 1)).c_str(), 0600), 0) << entry;
    } else if (entry.ends_with('/')) {
      fs::create_directories(path);
    } else {
      WriteFile(path, text == entry.npos ? "x" : entry.substr(text + 1));
    }
  }
}

std::vector<std::string> TreeIn(const fs::path& folder) {
  std::vector<std::string> entries;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).string();
    switch (entry.symlink_status().type()) {
      case fs::file_type::directory:
        entries.push_back(name + '/');
        break;
      case fs::file_type::symlink:
        entries.push_back(name + "->" + fs::read_symlink(entry).string());
        break;
      case fs::file_type::fifo:
        entries.push_back(name + '|');
        break;
      default:
        entries.push_back(name + '=' + ReadFile(entry));
    }
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

void Plant(const fs::path& folder, std::string_view entries) {
  MakeTree(folder, Split(entries));
}

std::string TreeText(const fs::path& folder) {
  std::string text;
  for (const std::string& entry : TreeIn(folder)) text += (text.empty() ? "" : " ") + entry;
  return text;
}

ResourceLimit::ResourceLimit(Resource resource, rlim_t limit) : resource_(resource) {
  signal(SIGXFSZ, SIG_IGN);
  getrlimit(resource, &old_);
  const rlimit limits{limit, old_.rlim_max};
  setrlimit(resource, &limits);
}

OtherProcess::OtherProcess(const std::function<void()>& body) {
  int ready[2];
  if (pipe2(ready, O_CLOEXEC) != 0) abort();
  pid_ = fork();
  if (pid_ == 0) {
    body();
    close(ready[1]);
    for (;;) pause();
  }
  close(ready[1]);
  char byte;
  EXPECT_EQ(read(ready[0], &byte, 1), 0);
  close(ready[0]);
}

void OtherProcess::Kill() {
  kill(pid_, SIGKILL);
  siginfo_t info;
  waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
}

void OtherProcess::End() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  StatusOf(pid_);
  pid_ = 0;
}

std::vector<int> InProcesses(int count, const std::function<int(int)>& body) {
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) {
    const pid_t child = fork();
    if (child == 0) _exit(body(i));
    children.push_back(child);
  }
  std::vector<int> statuses;
  for (const pid_t child : children) statuses.push_back(StatusOf(child));
  return statuses;
}

int Execute(const std::vector<std::string>& argv) {
  std::vector<char*> arguments;
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  return 127;
}

CommandResult RunCommand(const std::vector<std::string>& argv, const std::string& input) {
  return RunChild([&argv] { return Execute(argv); }, input);
}

// The input is a file, so the child may stop reading at any point.
CommandResult RunChild(const std::function<int()>& body, const std::string& input) {
  CommandResult result;
  const int in = memfd_create("input", MFD_CLOEXEC);
  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0 ||
      pwrite(in, input.data(), input.size(), 0) != static_cast<ssize_t>(input.size())) {
    abort();
  }
  fflush(nullptr);  // otherwise the child would write the buffered text again
  const pid_t child = fork();
  if (child == 0) {
    dup2(in, 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    _exit(body());
  }
  for (const int end : {in, out[1], err[1]}) close(end);
  const auto read_all = [](int end, std::string* text) {
    char buffer[65536];
    for (ssize_t count; (count = read(end, buffer, sizeof buffer)) != 0;) {
      if (count > 0) text->append(buffer, static_cast<size_t>(count));
    }
    close(end);
  };
  std::thread errors(read_all, err[0], &result.err);
  read_all(out[0], &result.out);
  errors.join();
  result.status = StatusOf(child);
  return result;
}

fs::path ProgramFolder() {
  return fs::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace orvik::test
