#include "platform/carbon/fsref.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/paths.h"
#include "host/system.h"
#include "host/tree_walk.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {
namespace {

std::atomic<int> live_anchors{0};

int AnchorLimit() {
  static const int limit = [] {
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur == RLIM_INFINITY) {
      return kMaxAnchors;
    }
    return static_cast<int>(std::min<rlim_t>(files.rlim_cur / 4, kMaxAnchors));
  }();
  return limit;
}

}  // namespace

class FSRefAnchor {
 public:
  explicit FSRefAnchor(host::Descriptor entry) : entry_(std::move(entry)) { ++live_anchors; }
  ~FSRefAnchor() { --live_anchors; }
  FSRefAnchor(const FSRefAnchor&) = delete;
  FSRefAnchor& operator=(const FSRefAnchor&) = delete;

  int descriptor() const { return entry_.get(); }

 private:
  host::Descriptor entry_;
};

namespace carbon {

OSErr Status(int error) {
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

namespace {

using host::ChildPath;
using host::LeafName;
using host::ParentPath;

constexpr int kMaxScannedEntries = 10000;

// On an overlay file system, a file gets a new birth time when it is first written.
bool BirthIsStable(const FSRef& ref, const std::string& path) {
  thread_local std::uint64_t known_device = 0;
  thread_local bool known_answer = false;
  if (ref.device == known_device) return known_answer;
  const host::AtPath at{path};
  struct statfs info {};
  bool stable = false;
  if (at.error() == 0 && statfs(std::string(ParentPath(at.ShortPath())).c_str(), &info) == 0) {
    stable = info.f_type != OVERLAYFS_SUPER_MAGIC;
  }
  known_device = ref.device;
  known_answer = stable;
  return stable;
}

std::string AbsolutePath(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  if (path.empty() || path.front() == '/') return std::string(path);
  std::error_code error;
  const std::string folder = std::filesystem::current_path(error).string();
  errno = error.value();
  return error ? std::string() : ChildPath(folder, path);
}

// The last component of such a path is not the folder's own name.
bool EndsInDots(std::string_view path) {
  const std::string_view leaf = LeafName(path);
  return leaf == "." || leaf == "..";
}

// Stores identity and path in `ref`; the path must be absolute.
void NoteReference(std::string path, const struct statx& info, FSRef* ref) {
  ref->anchor.reset();
  ref->path = std::move(path);
  ref->device = DeviceOf(info);
  ref->inode = info.stx_ino;
  ref->birth = 0;
  if ((info.stx_mask & STATX_BTIME) != 0 && BirthIsStable(*ref, ref->path)) {
    ref->birth = info.stx_btime.tv_sec * 1'000'000'000 + info.stx_btime.tv_nsec;
  }
}

std::optional<std::string> FindInFolder(const FSRef& ref, const std::string& folder,
                                        struct statx* out) {
  const host::Descriptor opened = host::OpenPath(folder, O_RDONLY | O_DIRECTORY);
  if (!opened) return std::nullopt;
  std::optional<std::string> found;
  int seen = 0;
  host::ListFolder(opened.get(), [&](const dirent& entry) {
    if (entry.d_ino == ref.inode && StatAt(opened.get(), entry.d_name, Leaf::kKeep, out) == 0 &&
        IsReferent(ref, *out)) {
      found = ChildPath(folder, entry.d_name);
    }
    return found || ++seen == kMaxScannedEntries ? 1 : 0;
  });
  return found;
}

}  // namespace

int StatAt(int folder, const char* name, Leaf leaf, struct statx* out) {
  return host::StatAll(folder, name, leaf == Leaf::kKeep ? AT_SYMLINK_NOFOLLOW : 0, out);
}

int StatPath(const std::string& path, Leaf leaf, struct statx* out) {
  const host::AtPath at{path};
  if (at.error() != 0) return at.error();
  return StatAt(at.folder(), at.name(), leaf, out);
}

int StatDescriptor(int descriptor, struct statx* out) {
  return host::StatAll(descriptor, "", AT_EMPTY_PATH, out);
}

std::uint64_t DeviceOf(const struct statx& info) {
  return makedev(info.stx_dev_major, info.stx_dev_minor);
}

bool IsReferent(const FSRef& ref, const struct statx& info) {
  if (ref.inode != info.stx_ino || ref.device != DeviceOf(info)) return false;
  return ref.birth == 0 || (info.stx_mask & STATX_BTIME) == 0 ||
         ref.birth == info.stx_btime.tv_sec * 1'000'000'000 + info.stx_btime.tv_nsec;
}

// With an anchor, the object is opened first and only its descriptor is examined, so that no other
// object can take its place between two calls. Without an anchor, a path with the object's own name
// needs one call. A path that ends in a link or in dots must be opened to find the object's own
// path.
int MakeReference(std::string_view given, Leaf leaf, FSRef* ref, struct statx* out) {
  if (given.empty()) return ENOENT;
  std::string path = AbsolutePath(given);
  if (path.empty()) return errno;
  struct statx info {};
  const bool dots = EndsInDots(path);
  const bool anchored = live_anchors < AnchorLimit();
  if (!anchored && !dots && leaf == Leaf::kKeep) {
    if (const int error = StatPath(path, leaf, &info)) return error;
    NoteReference(std::move(path), info, ref);
  } else {
    host::Descriptor opened = host::OpenPath(path, O_PATH | (leaf == Leaf::kKeep ? O_NOFOLLOW : 0));
    if (!opened) return errno;
    auto anchor = std::make_shared<FSRefAnchor>(std::move(opened));
    const int descriptor = anchor->descriptor();
    if (const int error = StatDescriptor(descriptor, &info)) return error;
    bool renamed = dots;
    if (leaf == Leaf::kFollow && !dots) {
      struct statx unfollowed {};
      if (const int error = StatPath(path, Leaf::kKeep, &unfollowed)) return error;
      renamed = S_ISLNK(unfollowed.stx_mode);
    }
    if (renamed) {
      std::optional<std::string> own = host::PathOf(descriptor);
      if (!own) return ENAMETOOLONG;
      path = std::move(*own);
    }
    NoteReference(std::move(path), info, ref);
    if (anchored) ref->anchor = std::move(anchor);
  }
  if (out != nullptr) *out = info;
  return 0;
}

// Usually one call finds the object at the remembered path. Otherwise the kernel gives the path of
// an anchored object, and any other object is searched in the folder where it was. An object
// without a name is gone, even if an anchor keeps it open.
int LocateReference(const FSRef& ref, std::string* path, struct statx* out) {
  struct statx own {};
  struct statx* const info = out != nullptr ? out : &own;
  if (ref.path.empty()) return ENOENT;
  if (StatPath(ref.path, Leaf::kKeep, info) == 0 && IsReferent(ref, *info)) {
    *path = ref.path;
    return 0;
  }
  if (ref.anchor) {
    struct statx anchored {};
    const int descriptor = ref.anchor->descriptor();
    if (StatDescriptor(descriptor, &anchored) != 0 || anchored.stx_nlink == 0) return ENOENT;
    if (std::optional<std::string> moved = host::PathOf(descriptor)) {
      if (StatPath(*moved, Leaf::kKeep, info) == 0 && info->stx_ino == anchored.stx_ino &&
          DeviceOf(*info) == DeviceOf(anchored)) {
        *path = std::move(*moved);
        return 0;
      }
    }
  }
  std::optional<std::string> found = FindInFolder(ref, std::string(ParentPath(ref.path)), info);
  if (!found) return ENOENT;
  *path = std::move(*found);
  return 0;
}

}  // namespace carbon

OSStatus FSPathMakeRef(const UInt8* path, FSRef* ref, Boolean* is_directory) {
  return FSPathMakeRefWithOptions(path, kFSPathMakeRefDefaultOptions, ref, is_directory);
}

OSStatus FSPathMakeRefWithOptions(const UInt8* path, OptionBits options, FSRef* ref,
                                  Boolean* is_directory) {
  if (path == nullptr || ref == nullptr) return paramErr;
  struct statx info {};
  const auto leaf = (options & kFSPathMakeRefDoNotFollowLeafSymlink) != 0 ? carbon::Leaf::kKeep
                                                                          : carbon::Leaf::kFollow;
  const std::string bytes = host::ResolvePath(reinterpret_cast<const char*>(path));
  if (const int error = carbon::MakeReference(bytes, leaf, ref, &info)) {
    return carbon::Status(error);
  }
  if (is_directory != nullptr) *is_directory = S_ISDIR(info.stx_mode) ? 1 : 0;
  return noErr;
}

OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 max_path_size) {
  if (ref == nullptr || path == nullptr || max_path_size == 0) return paramErr;
  path[0] = 0;
  std::string present;
  if (const int error = carbon::LocateReference(*ref, &present, nullptr)) {
    return carbon::Status(error);
  }
  if (present.size() >= max_path_size) return pathTooLongErr;
  std::memcpy(path, present.c_str(), present.size() + 1);
  return noErr;
}

OSErr FSCompareFSRefs(const FSRef* first, const FSRef* second) {
  if (first == nullptr || second == nullptr) return paramErr;
  const bool same = first->device == second->device && first->inode == second->inode &&
                    (first->birth == second->birth || first->birth == 0 || second->birth == 0);
  return same ? noErr : errFSRefsDifferent;
}

}  // namespace orvik
