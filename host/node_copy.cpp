#include "host/node_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/descriptor.h"
#include "host/paths.h"
#include "host/staged_file.h"
#include "host/tree_walk.h"
#include "host/trust.h"

namespace orvik::host {
namespace {

constexpr std::size_t kBufferSize = std::size_t{256} << 10;
constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;
constexpr int kMaximumLinks = 40;

timespec TimeOf(const statx_timestamp& time) {
  return {static_cast<time_t>(time.tv_sec), static_cast<long>(time.tv_nsec)};
}

bool IsSame(const struct statx& info, const struct stat& other) {
  return info.stx_ino == other.st_ino &&
         makedev(info.stx_dev_major, info.stx_dev_minor) == other.st_dev;
}

struct stat OwnerAndMode(const struct statx& info) {
  struct stat record {};
  record.st_mode = info.stx_mode;
  record.st_uid = info.stx_uid;
  record.st_gid = info.stx_gid;
  return record;
}

struct Source {
  Descriptor file;  // of a regular file
  struct statx info {};
};

int Inspect(int folder, const char* name, Source* source) {
  constexpr int kFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  return statx(folder, name, kFlags, kWanted, &source->info) == 0 ? 0 : errno;
}

int OpenSource(int folder, const char* name, mode_t type, Source* source) {
  if (type == 0 || !S_ISREG(type)) {
    if (const int error = Inspect(folder, name, source)) return error;
    if (!S_ISREG(source->info.stx_mode)) return 0;
  }
  source->file = Descriptor(openat(folder, name, kOpenEntry));
  if (!source->file) return errno == ELOOP ? Inspect(folder, name, source) : errno;
  if (statx(source->file.get(), "", AT_EMPTY_PATH, kWanted, &source->info) != 0) return errno;
  return S_ISREG(source->info.stx_mode) ? 0 : EAGAIN;  // another entry has the name now
}

// Copies everything but the immutable flag.
int Fill(const Source& source, int target, const NodeCopy& how) {
  const struct statx& info = source.info;
  const int from = source.file.get();
  OtherAttributes others;
  if (const int error = CopyAttributes(from, how.owner, target, &others)) return error;
  const ContentSize size{static_cast<long long>(info.stx_size),
                         static_cast<long long>(info.stx_blocks) * 512};
  if (const int error = CopyContent(from, target, size, kBufferSize, how.side, how.monitor))
    return error;
  if (const int error = CopyCreationDate(from, info, others.record, target)) {
    if (error == ENOSPC || error == EDQUOT || error == EIO) return error;
  }
  if (const int error = CopyMode(OwnerAndMode(info), how.owner, target)) return error;
  if (const int error = others.capabilities ? CopyCapabilities(from, target) : 0) return error;
  const timespec times[2] = {TimeOf(info.stx_atime), TimeOf(info.stx_mtime)};
  return futimens(target, times) == 0 ? 0 : errno;
}

// Copies the immutable flag. Only the superuser may set it; copies of other users do not get it.
void CopyLock(const Source& source, int target) {
  if ((source.info.stx_attributes & STATX_ATTR_IMMUTABLE) == 0) return;
  int flags = 0;
  if (ioctl(target, FS_IOC_GETFLAGS, &flags) != 0) return;
  flags |= FS_IMMUTABLE_FL;
  ioctl(target, FS_IOC_SETFLAGS, &flags);
}

int CopyRegularAtOnce(const Source& source, int to, const char* name, const NodeCopy& how) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const mode_t mode = (source.info.stx_mode & 0777u) | S_IRUSR | S_IWUSR;
  Descriptor target(openat(to, name, kFlags, mode));
  if (!target) return errno;
  int error = Fill(source, target.get(), how);
  if (error == 0 && how.flush && fsync(target.get()) != 0) error = errno;
  if (error == 0) CopyLock(source, target.get());
  if (!target.Close() && error == 0) error = errno;
  if (error != 0) unlinkat(to, name, 0);
  return error;
}

// Puts an entry at a name, even over an empty folder, because that loses nothing.
template <typename Put>
int Replace(int to, const char* name, Put put) {
  const int error = put();
  if (error != EISDIR) return error;
  return unlinkat(to, name, AT_REMOVEDIR) == 0 ? put() : EISDIR;
}

int CommitCopy(StagedFile* copy, int to, const char* name, Existing existing, bool is_taken) {
  const int error = is_taken ? EEXIST : copy->CommitAsNew();
  if (error != EEXIST || existing == Existing::kKeep) return error;
  return Replace(to, name, [copy] { return copy->Commit(-1); });
}

int CopyRegularWhole(const Source& source, int to, const char* name, bool is_taken,
                     const NodeCopy& how) {
  StagedFile copy(to, name);
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  // A file without a name is private with any mode, so the mode need not be changed later.
  const mode_t mode = (source.info.stx_mode & 0777u) | kPrivate;
  if (const int error = copy.Make(mode, !how.searched, kPrivate)) return error;
  if (const int error = Fill(source, copy.descriptor(), how)) return error;
  if (how.flush && fsync(copy.descriptor()) != 0) return errno;
  if (const int error = CommitCopy(&copy, to, name, how.existing, is_taken)) return error;
  if (how.flush) {
    if (const int error = FlushNames(to, copy.descriptor())) {
      if (how.existing == Existing::kKeep) copy.Rollback();
      return error;
    }
  }
  CopyLock(source, copy.descriptor());
  return 0;
}

// Makes a link or special file, which has no content, under a free name. Owner and mode are set by
// name, so this is only for folders whose entries no other user can change.
int MakeOther(const Source& source, const char* text, int to, const char* name, Owner owner,
              bool is_private) {
  const struct statx& info = source.info;
  if (text != nullptr) {
    if (symlinkat(text, to, name) != 0) return errno;
  } else {
    const dev_t device = makedev(info.stx_rdev_major, info.stx_rdev_minor);
    if (mknodat(to, name, info.stx_mode, device) != 0) return errno;
  }
  if (!is_private) return 0;
  // If the caller may not set the owner, the copy keeps its maker as owner.
  if (owner == Owner::kSource) {
    [[maybe_unused]] const int owned =
        fchownat(to, name, info.stx_uid, info.stx_gid, AT_SYMLINK_NOFOLLOW);
  }
  if (text == nullptr && fchmodat(to, name, info.stx_mode & 07777, 0) != 0) return errno;
  const timespec times[2] = {TimeOf(info.stx_atime), TimeOf(info.stx_mtime)};
  utimensat(to, name, times, AT_SYMLINK_NOFOLLOW);
  return 0;
}

// Whether a link with this text in the folder leads, directly or through other links, to the entry.
bool LeadsTo(int folder, std::string text, const struct stat& entry) {
  Descriptor own;
  for (int links = 0; links < kMaximumLinks; ++links) {
    struct stat info;
    if (fstatat(folder, text.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (IsSameFile(info, entry)) return true;
    std::string next;
    if (!S_ISLNK(info.st_mode) || ReadLink(folder, text.c_str(), &next) != 0) return false;
    const std::string parent(ParentPath(text));
    own = Descriptor(openat(folder, parent.c_str(), kOpenPlace));
    if (!own) return false;
    folder = own.get();
    text = std::move(next);
  }
  return true;
}

// Makes an entry in a staged folder and then commits it to a free name or over another entry. A
// link cannot be locked, so it cannot be staged by itself.
template <typename Make>
int CommitOther(Make make, int to, const char* name, Existing existing) {
  StagedFolder staged(to, name);
  if (const int error = staged.Make()) return error;
  constexpr char kEntry[] = "entry";
  if (const int error = make(staged.descriptor(), kEntry, staged.IsPrivate())) return error;
  if (existing == Existing::kKeep) {
    return RenameWithoutReplacing(staged.descriptor(), kEntry, to, name);
  }
  return Replace(to, name,
                 [&] { return renameat(staged.descriptor(), kEntry, to, name) == 0 ? 0 : errno; });
}

int CopyOther(const Source& source, int from, const char* from_name, int to, const char* to_name,
              const NodeCopy& how) {
  *how.side = Side::kSource;
  if (S_ISDIR(source.info.stx_mode)) return EISDIR;
  std::string text;
  const bool is_link = S_ISLNK(source.info.stx_mode);
  if (is_link) {
    if (const int error = ReadLink(from, from_name, &text)) return error;
  } else if (!how.special_files) {
    return EOPNOTSUPP;
  }
  *how.side = Side::kTarget;
  const auto make = [&](int folder, const char* name, bool is_private) {
    return MakeOther(source, is_link ? text.c_str() : nullptr, folder, name, how.owner, is_private);
  };
  struct stat folder;
  if (fstat(to, &folder) != 0) return errno;
  int error = OthersCanChange(folder) ? CommitOther(make, to, to_name, Existing::kKeep)
                                      : make(to, to_name, true);
  if (error == EEXIST && how.existing == Existing::kReplace) {
    struct stat old;
    if (is_link && fstatat(to, to_name, &old, AT_SYMLINK_NOFOLLOW) == 0) {
      const std::string parent(ParentPath(from_name));
      const Descriptor place(openat(from, parent.c_str(), kOpenPlace));
      if (LeadsTo(place.get(), text, old) || LeadsTo(to, text, old)) return EINVAL;
    }
    error = CommitOther(make, to, to_name, Existing::kReplace);
  }
  if (error != 0 || !how.flush) return error;
  error = FlushNames(to, -1);
  if (error != 0 && how.existing == Existing::kKeep) unlinkat(to, to_name, 0);
  return error;
}

bool HasExactName(int folder, std::string_view name) {
  const Descriptor listed(openat(folder, ".", kOpenFolder));
  return listed && ListFolder(listed.get(), [name](const dirent& entry) {
                     return name == entry.d_name ? EEXIST : 0;
                   }) == EEXIST;
}

}  // namespace

int CopyNode(int from, const char* from_name, mode_t type, int to, const char* to_name,
             const NodeCopy& how) {
  Side side = Side::kSource;
  if (how.side == nullptr) {
    NodeCopy same = how;
    same.side = &side;
    return CopyNode(from, from_name, type, to, to_name, same);
  }
  Source source;
  *how.side = Side::kSource;
  if (const int error = OpenSource(from, from_name, type, &source)) return error;
  *how.side = Side::kTarget;
  struct stat old;
  const bool is_taken =
      how.existing == Existing::kReplace && fstatat(to, to_name, &old, AT_SYMLINK_NOFOLLOW) == 0;
  if (is_taken && IsSame(source.info, old)) return EINVAL;
  if (is_taken && how.made != nullptr && how.made->Has(old)) return EEXIST;
  const int error = !source.file ? CopyOther(source, from, from_name, to, to_name, how)
                    : how.appearance == Appearance::kAtOnce
                        ? CopyRegularAtOnce(source, to, to_name, how)
                        : CopyRegularWhole(source, to, to_name, is_taken, how);
  if (error == 0 && how.made != nullptr && fstatat(to, to_name, &old, AT_SYMLINK_NOFOLLOW) == 0) {
    how.made->Add(old);
  }
  return error;
}

int CopyIntoNewFolder(int from, const char* name, mode_t type, int to, Side* side,
                      Monitor* monitor) {
  NodeCopy how{.searched = true, .side = side, .monitor = monitor};
  const int error = CopyNode(from, name, type, to, name, how);
  if (error != EEXIST || !HasExactName(to, name)) return error;
  how = {.existing = Existing::kReplace, .side = side, .monitor = monitor};
  return CopyNode(from, name, type, to, name, how);
}

int CopyNode(const std::string& from, const std::string& to, const NodeCopy& how) {
  const AtPath source(from);
  if (how.side != nullptr) *how.side = source.error() != 0 ? Side::kSource : Side::kTarget;
  if (source.error() != 0) return source.error();
  const std::string name(LeafName(to));
  if (name.empty() || name == "." || name == "..") return EISDIR;
  const Descriptor folder = OpenPath(std::string(ParentPath(to)), kOpenPlace);
  if (!folder) return errno;
  return CopyNode(source.folder(), source.name(), 0, folder.get(), name.c_str(), how);
}

int FlushNames(int folder, int file) {
  const Descriptor readable(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (readable) return FlushFolder(readable.get());
  return file < 0 || syncfs(file) == 0 ? 0 : errno;
}

}  // namespace orvik::host
