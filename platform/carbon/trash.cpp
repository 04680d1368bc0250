#include "platform/carbon/trash.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "host/at_path.h"
#include "host/descriptor.h"
#include "host/system_root.h"
#include "host/temporary_file.h"
#include "platform/carbon/errno_status.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/carbon/volumes.h"
#include "text/percent_encoding.h"

namespace orvik {
namespace {

using carbon::ChildPath;
using carbon::LeafName;
using carbon::ParentPath;

constexpr mode_t kPrivate = 0700;

OSErr Status(int error) {
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

int Inspect(const std::string& path, struct statx* info) {
  return carbon::StatPath(path, carbon::Leaf::kKeep, info);
}

int MakeFolder(const std::string& path) {
  const host::AtPath at{path};
  if (at.error() != 0) return at.error();
  return mkdirat(at.folder(), at.name(), kPrivate) == 0 || errno == EEXIST ? 0 : errno;
}

std::string HomeTrash() {
  const char* const data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && data[0] == '/') return ChildPath(data, "Trash");
  return ChildPath(host::HomeFolder(), ".local/share/Trash");
}

// The volume on which a path lies or would lie.
FSVolumeRefNum VolumeOfPath(std::string path) {
  struct statx info {};
  while (carbon::StatPath(path, carbon::Leaf::kFollow, &info) != 0) {
    if (path == "/") return 0;
    path = std::string(ParentPath(path));
  }
  return carbon::VolumeOf(info);
}

// A folder of our own into which we may write.
int CheckOwnFolder(const std::string& path, carbon::Leaf leaf) {
  struct statx info {};
  if (const int error = carbon::StatPath(path, leaf, &info)) return error;
  if (!S_ISDIR(info.stx_mode)) return ENOTDIR;
  if (info.stx_uid != getuid()) return EACCES;
  const host::AtPath at{path};
  if (at.error() != 0) return at.error();
  return faccessat(at.folder(), at.name(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

// A user may have put a link in the place of the home trash, nobody in that of a volume's.
int OpenTrash(const std::string& trash, carbon::Leaf leaf, bool create, FSRef* folder) {
  int error = create ? MakeFolder(trash) : 0;
  if (error == 0) error = CheckOwnFolder(trash, leaf);
  for (const char* const part : {"files", "info"}) {
    const std::string path = ChildPath(trash, part);
    if (error == 0 && create) error = MakeFolder(path);
    if (error == 0) error = CheckOwnFolder(path, leaf);
  }
  if (error != 0) return error;
  return carbon::MakeReference(ChildPath(trash, "files"), carbon::Leaf::kKeep,
                               carbon::Hold::kAnchored, folder, nullptr);
}

int OpenHomeTrash(bool create, FSRef* folder) {
  const std::string trash = HomeTrash();
  if (create) {
    if (const int error = host::MakeFolders(std::string(ParentPath(trash)))) return error;
  }
  return OpenTrash(trash, carbon::Leaf::kFollow, create, folder);
}

int OpenVolumeTrash(const std::string& top, bool create, FSRef* folder) {
  const std::string user = std::to_string(getuid());
  const std::string shared = ChildPath(top, ".Trash");
  struct statx info {};
  if (Inspect(shared, &info) == 0 && S_ISDIR(info.stx_mode) && (info.stx_mode & S_ISVTX) != 0 &&
      OpenTrash(ChildPath(shared, user), carbon::Leaf::kKeep, create, folder) == 0) {
    return 0;
  }
  return OpenTrash(ChildPath(top, ".Trash-" + user), carbon::Leaf::kKeep, create, folder);
}

// A place in a trash: the trash folder itself, and what paths in it are relative to ("" when they
// are absolute).
struct Trash {
  std::string folder;
  std::string top;
};

std::optional<Trash> TrashOf(std::string_view target_path) {
  const std::string_view files = ParentPath(target_path);
  if (LeafName(files) != "files") return std::nullopt;
  Trash trash{std::string(ParentPath(files)), {}};
  struct statx here {};
  struct statx home {};
  if (carbon::StatPath(trash.folder, carbon::Leaf::kFollow, &here) != 0) return std::nullopt;
  if (carbon::StatPath(HomeTrash(), carbon::Leaf::kFollow, &home) == 0 &&
      here.stx_ino == home.stx_ino && carbon::DeviceOf(here) == carbon::DeviceOf(home)) {
    return trash;
  }
  const std::string user = std::to_string(getuid());
  const std::string_view parent = ParentPath(trash.folder);
  if (LeafName(trash.folder) == ".Trash-" + user) {
    trash.top = std::string(parent);
    return trash;
  }
  if (LeafName(trash.folder) == user && LeafName(parent) == ".Trash") {
    trash.top = std::string(ParentPath(parent));
    return trash;
  }
  return std::nullopt;
}

std::string InfoPath(const Trash& trash, std::string_view target_path) {
  return ChildPath(ChildPath(trash.folder, "info"),
                   std::string(LeafName(target_path)) + ".trashinfo");
}

std::string InfoText(const Trash& trash, std::string_view source_path) {
  const std::string prefix = trash.top.ends_with('/') ? trash.top : trash.top + "/";
  if (!trash.top.empty() && source_path.starts_with(prefix)) {
    source_path.remove_prefix(prefix.size());
  }
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
  return "[Trash Info]\nPath=" + PercentEncoded(source_path, "-_.!~*'()/") +
         "\nDeletionDate=" + date + "\n";
}

int WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

// Whether an info file of this age, in seconds, has no file and will get none.
bool IsLeftOver(std::time_t modified, const std::string& target_path) {
  constexpr std::time_t kDay = 24 * 60 * 60;
  struct statx info {};
  return std::time(nullptr) - modified > kDay && Inspect(target_path, &info) == ENOENT;
}

// Under a lock, so that of two only one removes it, and never what the other has made since.
bool RemoveLeftOver(const host::AtPath& at, const std::string& target_path) {
  const host::Descriptor info(
      openat(at.folder(), at.name(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat record {};
  return info && flock(info.get(), LOCK_EX | LOCK_NB) == 0 &&
         host::IsOwnFile(info.get(), at.folder(), at.name()) && fstat(info.get(), &record) == 0 &&
         IsLeftOver(record.st_mtime, target_path) && unlinkat(at.folder(), at.name(), 0) == 0;
}

void RemoveFile(const std::string& path) {
  const host::AtPath at{path};
  if (at.error() == 0) unlinkat(at.folder(), at.name(), 0);
}

}  // namespace

OSErr FSFindTrashFolder(FSVolumeRefNum volume, Boolean create, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  if (VolumeOfPath(HomeTrash()) == volume) return FSFindHomeTrashFolder(create, folder);
  const std::string top = carbon::MountPointOf(volume);
  if (top.empty()) return nsvErr;
  return Status(OpenVolumeTrash(top, create != 0, folder));
}

OSErr FSFindHomeTrashFolder(Boolean create, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  return Status(OpenHomeTrash(create != 0, folder));
}

bool TrashNameIsTaken(std::string_view target_path) {
  struct statx info {};
  if (Inspect(std::string(target_path), &info) == 0) return true;
  const std::optional<Trash> trash = TrashOf(target_path);
  return trash && Inspect(InfoPath(*trash, target_path), &info) == 0 &&
         !IsLeftOver(info.stx_mtime.tv_sec, std::string(target_path));
}

TrashInfo::~TrashInfo() {
  if (!info_path_.empty()) RemoveFile(info_path_);
}

OSErr TrashInfo::Write(std::string_view source_path, std::string_view target_path) {
  const std::optional<Trash> trash = TrashOf(target_path);
  if (!trash) return noErr;
  const std::string path = InfoPath(*trash, target_path);
  if (const int error = MakeFolder(ChildPath(trash->folder, "info"))) return Status(error);
  const host::AtPath at{path};
  if (at.error() != 0) return Status(at.error());
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  int descriptor = openat(at.folder(), at.name(), kFlags, 0600);
  if (descriptor < 0 && errno == EEXIST) {
    if (!RemoveLeftOver(at, std::string(target_path))) return dupFNErr;
    descriptor = openat(at.folder(), at.name(), kFlags, 0600);
  }
  if (descriptor < 0) return Status(errno);
  int error = WriteAll(descriptor, InfoText(*trash, source_path));
  if (close(descriptor) != 0 && error == 0) error = errno;
  if (error != 0) {
    RemoveFile(path);
    return Status(error);
  }
  info_path_ = path;
  return noErr;
}

void TrashInfo::Keep() {
  info_path_.clear();
}

}  // namespace orvik
