#include "tools/orvikprefs/files.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <ostream>

#include "host/file_place.h"
#include "host/node_copy.h"
#include "host/paths.h"
#include "host/private_files.h"
#include "host/replace_file.h"
#include "host/tree_removal.h"
#include "host/tree_walk.h"
#include "plist/sink.h"
#include "prefs/reporting.h"
#include "prefs/scope.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace fs = std::filesystem;

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

// Copies the file to an unused name beside it, which `copy` receives; "" for a missing file. For a
// link its target is copied, because a change replaces the target.
int CopyBeside(const std::string& file, std::string* copy) {
  const host::FilePlace place = host::FindPlace(file, host::Links::kTrusted);
  *copy = place ? place.path : place.obstacle;
  if (!place && place.error != ENOENT) return place.error;
  constexpr int kTries = 100;
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  char moment[32] = "";
  gmtime_r(&now, &parts);
  std::strftime(moment, sizeof moment, ".backup-%Y-%m-%dT%H:%M:%SZ", &parts);
  host::NodeCopy how;
  how.flush = true;
  how.owner = host::Owner::kSource;
  int error = place ? EEXIST : ENOENT;
  for (int number = 1; error == EEXIST && number <= kTries; ++number) {
    const std::string end = moment + (number > 1 ? "-" + std::to_string(number) : std::string());
    const std::string name = place.name + end;
    const int folder = place.folder.get();
    *copy = place.path + end;
    error = host::CopyNode(folder, place.name.c_str(), 0, folder, name.c_str(), how);
  }
  if (error != ENOENT) return error;
  copy->clear();
  return 0;
}

constexpr char kEditedName[] = "orvikprefs.json";  // editors choose their mode by the suffix

}  // namespace

int ReadWhole(const std::string& file, std::string& bytes) {
  if (file == "-") return ReadStream(stdin, bytes);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(std::fopen(file.c_str(), "rbe"),
                                                               std::fclose);
  return opened ? ReadStream(opened.get(), bytes) : errno;
}

int WriteWhole(const Context& context, const std::string& file, const std::string& bytes) {
  if (file == "-" || host::IsOpenAs(STDOUT_FILENO, file)) {
    context.out->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return kDone;
  }
  std::error_code unknown;
  const host::ReplaceResult result = fs::is_other(fs::status(file, unknown))
                                         ? host::WriteToSpecialFile(file, bytes)
                                         : host::ReplaceFile(file, bytes);
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

DomainFiles DomainsOf(int scope) {
  // The file of a domain is in the scope's folder; some scopes put a dot before the domain. A
  // domain with "/" in its name has its file in a subfolder.
  constexpr std::string_view kEnding = ".plist", kLockEnding = ".lock.plist";
  const fs::path some = PreferenceFilePath(scope, CAtlString(u"x"));
  const std::string_view dot = some.filename().native().starts_with('.') ? "." : "";
  const std::string top = some.parent_path().native() + "/";
  DomainFiles found;
  const auto note = [&](int error, const std::string& path) {
    if (error == 0 || error == ENOENT || found.error != 0) return;
    found.error = error;
    found.unreadable = path;
  };
  host::TreeWalk walk;
  const auto list = [&](const dirent& entry, mode_t) {
    const std::string name = walk.path() + entry.d_name;
    if (name.size() <= dot.size() + kEnding.size() || !name.ends_with(kEnding) ||
        name.ends_with(kLockEnding) || name.starts_with('.') != !dot.empty()) {
      return 0;
    }
    const std::string domain = name.substr(dot.size(), name.size() - dot.size() - kEnding.size());
    const std::string path = top + name;
    if (!IsUsableDomain(FromUtf8(domain).value_or(u""))) return 0;
    struct stat file;
    const int error = host::StatPath(path, 0, &file);
    note(error, path);
    if (error == 0 && S_ISREG(file.st_mode)) {
      found.list.push_back({domain, path, static_cast<std::uintmax_t>(file.st_size)});
    }
    return 0;
  };
  const auto enter = [&](host::Descriptor folder, const std::string& name) {
    int error = walk.Enter(std::move(folder), name);
    const std::string path = top + walk.path() + (error != 0 ? name : "");
    if (error == 0) error = walk.List(list);
    note(error, path);
  };
  enter(host::OpenPath(top, O_RDONLY | O_DIRECTORY | O_CLOEXEC), "");
  int error = 0;
  while (error == 0 && walk.depth() != 0) {
    if (const std::optional<std::string> name = walk.TakeSubfolder()) {
      enter(walk.OpenSubfolder(*name), *name);
    } else {
      error = walk.Leave();
    }
  }
  // If the walk cannot return to a parent folder, it ends; the rest is not listed.
  note(error == ENOENT ? ESTALE : error, top);
  std::sort(found.list.begin(), found.list.end(),
            [](const DomainFile& one, const DomainFile& other) { return one.name < other.name; });
  return found;
}

Carried CarryOut(const Context& context, Transaction& transaction, bool backs_up, bool rehearses) {
  Carried carried;
  int error = 0;
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  host::FileIdentity copied;
  if (backs_up && !rehearses) {
    transaction.RequireThat(u"", u"", [&](const plist::Value&) {
      // On a second call the file has changed meanwhile.
      if (!carried.backup.empty()) host::RemoveFile(carried.backup, host::Obstacles::kRespect);
      error = CopyBeside(file, &carried.backup);
      copied = host::IdentityOf(file);
      return error == 0;
    });
  }
  TransactionResult& result = carried.result;
  carried.status =
      rehearses ? transaction.DryRun(&result) : transaction.Commit(IfDamaged::kFail, &result);
  carried.has_copy = error == 0;
  if (error != 0) {
    context.FailFile(carried.backup, error, true);
  } else if (!carried.backup.empty()) {
    const bool is_changed =
        carried.status.ok() ? result.before != result.after : host::IdentityOf(file) != copied;
    if (!is_changed) {
      host::RemoveFile(carried.backup, host::Obstacles::kRespect);
      carried.backup.clear();
    } else if (!carried.status.ok()) {
      context.Fail(kNotSaved, "the old file is kept as " + Quoted(carried.backup));
    }
  }
  return carried;
}

PrivateFile::PrivateFile(const std::string& content) {
  const char* const temporary = secure_getenv("TMPDIR");
  const std::string above = temporary != nullptr && *temporary == '/' ? temporary : "/tmp";
  folder_ = host::MakePrivateFolder(above + "/orvikprefs-", &folder_path_);
  error_ = folder_ ? host::WritePrivateFile(folder_.get(), kEditedName, content) : errno;
  path_ = folder_ ? folder_path_ + "/" + kEditedName : above;
}

PrivateFile::~PrivateFile() {
  if (!folder_ || preserved_) return;
  // An editor may have left a copy of the text beside it.
  host::EmptyFolder(std::move(folder_), host::Obstacles::kRespect);
  std::error_code another_is_there;
  fs::remove(folder_path_, another_is_there);
}

int PrivateFile::Read(std::string& bytes) const {
  return host::ReadPrivateFile(folder_.get(), kEditedName, plist::kMaximumFileSize, &bytes);
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
  // As "$1", so that an editor that is a whole command line can place it anywhere.
  return std::system(("set -- '" + quoted + "'; " + editor + " \"$1\"").c_str()) == 0;
}

}  // namespace orvik::prefstool
