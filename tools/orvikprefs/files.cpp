#include "tools/orvikprefs/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <ostream>

#include "host/descriptor.h"
#include "host/file_place.h"
#include "host/node_copy.h"
#include "host/replace_file.h"
#include "host/staged_file.h"
#include "host/tree_removal.h"
#include "host/trust.h"
#include "plist/sink.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool IsStandardOutput(const struct stat& file) {
  struct stat output;
  return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev &&
         output.st_ino == file.st_ino;
}

// Names of this process's own descriptors, which only the kernel can follow.
bool NamesDescriptor(const std::string& file) {
  return file.starts_with("/dev/fd/") || file.starts_with("/proc/self/fd/") ||
         file == "/dev/stdout" || file == "/dev/stderr";
}

int WriteToOpened(host::Descriptor opened, const std::string& bytes) {
  if (!opened) return errno;
  const int error = host::WriteAll(opened.get(), bytes);
  return opened.Close() || error != 0 ? error : errno;
}

// Writes to what is neither a regular file nor a folder: a pipe, a device.
host::ReplaceResult WriteToSpecial(const std::string& file, const std::string& bytes) {
  constexpr int kFlags = O_WRONLY | O_NOCTTY | O_CLOEXEC;
  host::ReplaceResult result;
  if (NamesDescriptor(file)) {
    result.error = WriteToOpened(host::Descriptor(open(file.c_str(), kFlags)), bytes);
    return result;
  }
  const host::FilePlace place = host::FindPlace(file, host::Links::kTrusted);
  result.error = place.error;
  result.obstacle = place.obstacle;
  if (!place) return result;
  struct stat there;
  const int folder = place.folder.get();
  const char* const name = place.name.c_str();
  if (fstatat(folder, name, &there, AT_SYMLINK_NOFOLLOW) == 0 &&
      !host::MayReplace(there, place.folder_attributes)) {
    result.error = EACCES;
    result.obstacle = place.path;
    return result;
  }
  result.error = WriteToOpened(host::Descriptor(openat(folder, name, kFlags | O_NOFOLLOW)), bytes);
  return result;
}

}  // namespace

namespace {

int ReadStream(std::FILE* stream, std::string& bytes) {
  if (host::SizeOfRegular(fileno(stream)).value_or(0) > plist::kMaximumFileSize) return EFBIG;
  char buffer[65536];
  errno = 0;
  while (const size_t count = std::fread(buffer, 1, sizeof buffer, stream)) {
    if (bytes.size() + count > plist::kMaximumFileSize) return EFBIG;
    bytes.append(buffer, count);
  }
  return std::ferror(stream) != 0 ? errno : 0;
}

}  // namespace

int ReadWhole(const std::string& file, std::string& bytes) {
  if (file == "-") return ReadStream(stdin, bytes);
  const Stream opened(std::fopen(file.c_str(), "rbe"), std::fclose);
  return opened ? ReadStream(opened.get(), bytes) : errno;
}

int WriteWhole(const Context& context, const std::string& file, const std::string& bytes) {
  struct stat there;
  const bool exists = file != "-" && stat(file.c_str(), &there) == 0;
  if (file == "-" || (exists && IsStandardOutput(there))) {
    context.out->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return kDone;
  }
  const bool is_special = exists && !S_ISREG(there.st_mode) && !S_ISDIR(there.st_mode);
  const host::ReplaceResult result =
      is_special ? WriteToSpecial(file, bytes) : host::ReplaceFile(file, bytes);
  if (result.error == 0) return kDone;
  if (result.error == EPERM && !result.obstacle.empty()) {
    return context.Fail(kNotSaved, Quoted(file) + " cannot be written: " + Quoted(result.obstacle) +
                                       " is a link of another user; name the link's target");
  }
  if (result.error == EACCES && !result.obstacle.empty()) {
    return context.Fail(kNotSaved, Quoted(file) + " cannot be written: " + Quoted(result.obstacle) +
                                       " is another user's, in a folder that everyone may write;" +
                                       " name another file");
  }
  return context.FailFile(file, result.error, true);
}

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kEnding = ".plist";
constexpr std::string_view kLockEnding = ".lock.plist";

}  // namespace

std::vector<DomainFile> DomainsOf(int scope) {
  // Any domain has its file in the folder of all; scopes with a dot before the domain keep it.
  const fs::path some = PreferenceFilePath(scope, CAtlString(u"x"));
  const std::string_view dot = some.filename().native().starts_with('.') ? "." : "";
  std::vector<DomainFile> found;
  std::error_code error;
  fs::recursive_directory_iterator entry(some.parent_path(), error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().lexically_relative(some.parent_path()).native();
    std::error_code not_there;
    if (!name.ends_with(kEnding) || name.ends_with(kLockEnding) ||
        name.starts_with('.') != !dot.empty() || !entry->is_regular_file(not_there)) {
      continue;
    }
    found.push_back({name.substr(dot.size(), name.size() - dot.size() - kEnding.size()),
                     entry->path().native(), entry->file_size(not_there)});
  }
  std::sort(found.begin(), found.end(),
            [](const DomainFile& one, const DomainFile& other) { return one.name < other.name; });
  return found;
}

void Backup::AddTo(Transaction& transaction) {
  if (is_wanted_) {
    transaction.RequireThat(u"", u"", [this](const plist::Value&) { return Copy(); });
  }
}

bool Backup::Copy() {
  constexpr int kTries = 100;
  const std::string file = PreferenceFilePath(context_.scope, context_.domain);
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  char moment[32] = "";
  gmtime_r(&now, &parts);
  std::strftime(moment, sizeof moment, ".backup-%Y-%m-%dT%H:%M:%SZ", &parts);
  host::NodeCopy how;
  how.flush = true;
  error_ = EEXIST;
  for (int number = 1; error_ == EEXIST && number <= kTries; ++number) {
    path_ = file + moment + (number > 1 ? "-" + std::to_string(number) : std::string());
    error_ = host::CopyNode(file, path_, how);
  }
  if (error_ == ENOENT) {
    error_ = 0;
    path_.clear();
  }
  return error_ == 0;
}

bool Backup::Failed() const {
  if (error_ != 0) context_.FailFile(path_, error_, true);
  return error_ != 0;
}

void Backup::Discard() {
  if (!path_.empty()) unlink(path_.c_str());
  path_.clear();
}

namespace {

constexpr char kEditedName[] = "orvikprefs.json";  // editors choose their mode by the ending

}  // namespace

PrivateFile::PrivateFile(const std::string& content) {
  const char* const temporary = secure_getenv("TMPDIR");
  std::string folder = temporary != nullptr && *temporary == '/' ? temporary : "/tmp";
  folder += "/orvikprefs-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    error_ = errno;
    return;
  }
  folder_path_ = folder;
  path_ = folder + "/" + kEditedName;
  folder_ = host::Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat made;
  if (!folder_ || fstat(folder_.get(), &made) != 0) {
    error_ = errno;
  } else if (made.st_uid != geteuid()) {
    error_ = EPERM;
  } else {
    error_ = WriteToOpened(
        host::Descriptor(openat(folder_.get(), kEditedName,
                                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)),
        content);
  }
}

PrivateFile::~PrivateFile() {
  if (folder_path_.empty() || preserved_) return;
  // An editor may have left a copy of the text beside it.
  if (folder_) host::EmptyFolder(std::move(folder_), host::Obstacles::kRespect);
  rmdir(folder_path_.c_str());
}

int PrivateFile::Read(std::string& bytes) const {
  host::Descriptor file = host::OpenRegular(folder_.get(), kEditedName, O_RDONLY | O_NOFOLLOW);
  if (!file) return errno == ELOOP ? EPERM : errno;
  if (!host::IsOwnFile(file.get(), folder_.get(), kEditedName)) return EPERM;
  const Stream opened(fdopen(file.get(), "rb"), std::fclose);
  if (!opened) return errno;
  file.Release();
  return ReadStream(opened.get(), bytes);
}

std::string Editor() {
  for (const char* const variable : {"VISUAL", "EDITOR"}) {
    const char* const value = secure_getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "vi";
}

bool RunEditor(const std::string& editor, const std::string& file) {
  std::string quoted;
  for (const char byte : file) quoted += byte == '\'' ? std::string("'\\''") : std::string(1, byte);
  // As "$1", so that editors that are whole command lines may put it where they like.
  return std::system(("set -- '" + quoted + "'; " + editor + " \"$1\"").c_str()) == 0;
}

}  // namespace orvik::prefstool
