#include "host/file_place.h"

#include <fcntl.h>
#include <limits.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <syslog.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "host/staged_file.h"
#include "host/system_log.h"

namespace orvik::host {

namespace {

constexpr int kMaximumLinks = 40;
constexpr int kOpenFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

bool IsTrusted(const struct stat& link) {
  return link.st_uid == 0 || link.st_uid == geteuid();
}

int ReadLink(int folder, const char* name, std::string* target) {
  char buffer[PATH_MAX];
  const ssize_t length = readlinkat(folder, name, buffer, sizeof buffer);
  if (length < 0) return errno;
  if (static_cast<std::size_t>(length) == sizeof buffer) return ENAMETOOLONG;
  target->assign(buffer, static_cast<std::size_t>(length));
  return 0;
}

// The folder in one step when no link lies on the way. -1 with errno otherwise.
int OpenWithoutLinks(const std::string& path) {
  open_how how = {};
  how.flags = kOpenFolderFlags;
  how.resolve = RESOLVE_NO_SYMLINKS;
  return static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how));
}

// An unprivileged user can put another folder in this one's place, or in the place of what is in
// it. The group of the last folder may write it by design when it has the set-group bit.
bool IsSwappable(const struct stat& folder, bool is_last) {
  if (folder.st_uid != 0) return true;
  mode_t writers = folder.st_mode & (S_IWGRP | S_IWOTH);
  if (folder.st_gid == 0 || (is_last && (folder.st_mode & S_ISGID) != 0)) writers &= ~S_IWGRP;
  return writers != 0 && (folder.st_mode & S_ISVTX) == 0;
}

// Goes down a path one component at a time, through trusted links only, and makes the folders that
// are missing.
class Walk {
 public:
  explicit Walk(FilePlace& place, bool makes) : place_(place), makes_(makes) {}

  // Opens the folder for reading: 0 or an error number.
  int Run(const std::string& path) {
    rest_ = path;
    if (const int error = Start()) return error;
    while (!rest_.empty()) {
      const std::string name = NextName();
      if (name.empty() || name == ".") continue;
      if (const int error = Enter(name)) {
        place_.obstacle = walked_ + name;
        return error;
      }
    }
    if (here_attributes_.st_mode != 0 && IsSwappable(here_attributes_, true)) ReportSwappable();
    place_.folder = Descriptor(openat(here_.get(), ".", kOpenFolderFlags));
    return place_.folder ? 0 : errno;
  }

 private:
  int Start() {
    const bool is_absolute = rest_.starts_with('/');
    here_ = Descriptor(open(is_absolute ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (is_absolute) walked_ = "/";
    here_attributes_ = {};
    return here_ ? 0 : errno;
  }

  std::string NextName() {
    const std::size_t slash = rest_.find('/');
    std::string name = rest_.substr(0, slash);
    rest_.erase(0, slash == std::string::npos ? rest_.size() : slash + 1);
    return name;
  }

  int Enter(const std::string& name) {
    constexpr int kFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    Descriptor next(openat(here_.get(), name.c_str(), kFlags));
    if (!next && errno == ENOENT && makes_) {
      if (const int error = Make(name)) return error;
      next = Descriptor(openat(here_.get(), name.c_str(), kFlags));
    }
    struct stat attributes;
    if (!next || fstat(next.get(), &attributes) != 0) return errno;
    if (S_ISLNK(attributes.st_mode)) return Follow(next.get(), attributes);
    if (!S_ISDIR(attributes.st_mode)) return ENOTDIR;
    if (here_attributes_.st_mode != 0 && IsSwappable(here_attributes_, false)) ReportSwappable();
    here_ = std::move(next);
    here_attributes_ = attributes;
    walked_ += name + "/";
    return 0;
  }

  int Follow(int link, const struct stat& attributes) {
    if (!IsTrusted(attributes)) return EPERM;
    if (++links_ > kMaximumLinks) return ELOOP;
    std::string target;
    if (const int error = ReadLink(link, "", &target)) return error;
    rest_ = target + "/" + rest_;
    return target.starts_with('/') ? Start() : 0;
  }

  int Make(const std::string& name) {
    const Descriptor parent(openat(here_.get(), ".", kOpenFolderFlags));
    struct stat attributes;
    if (!parent || fstat(parent.get(), &attributes) != 0) return errno;
    if (mkdirat(parent.get(), name.c_str(), 0777) != 0) return errno == EEXIST ? 0 : errno;
    const Descriptor made(openat(parent.get(), name.c_str(), kOpenFolderFlags | O_NOFOLLOW));
    if (made) FollowFolder(made.get(), attributes);
    return FlushFolder(parent.get());
  }

  // Only root's words can be turned against others.
  void ReportSwappable() const {
    if (geteuid() != 0 || !makes_) return;
    SystemLog(LOG_WARNING,
              "Folder that an unprivileged user could replace is used: \"" + walked_ + "\"");
  }

  FilePlace& place_;
  const bool makes_;
  std::string rest_;
  std::string walked_;  // ends in "/"
  Descriptor here_;
  struct stat here_attributes_ = {};
  int links_ = 0;
};

// The folders that root has walked down to, so that each is examined once in a process.
class WalkedFolders {
 public:
  bool Has(const std::string& path, const struct stat& folder) {
    const std::lock_guard guard(guard_);
    const auto found = folders_.find(path);
    return found != folders_.end() && found->second == std::pair(folder.st_dev, folder.st_ino);
  }
  void Add(const std::string& path, const struct stat& folder) {
    const std::lock_guard guard(guard_);
    folders_[path] = {folder.st_dev, folder.st_ino};
  }

 private:
  std::mutex guard_;
  std::map<std::string, std::pair<dev_t, ino_t>> folders_;
};

WalkedFolders& Walked() {
  static auto& walked = *new WalkedFolders;
  return walked;
}

int OpenFolder(const std::string& path, Links links, bool makes, FilePlace& place) {
  place.folder = Descriptor(links == Links::kAny ? open(path.c_str(), kOpenFolderFlags)
                                                 : OpenWithoutLinks(path));
  if (!place.folder && links == Links::kAny && errno != ENAMETOOLONG) {
    place.obstacle = path;
    return errno;
  }
  if (!place.folder && errno == ENOENT && !makes) {
    place.obstacle = path;
    return ENOENT;
  }
  if (place.folder) {
    if (fstat(place.folder.get(), &place.folder_attributes) != 0) return errno;
    if (!makes || Walked().Has(path, place.folder_attributes) || geteuid() != 0) return 0;
  }
  if (const int error = Walk(place, makes).Run(path)) return error;
  if (fstat(place.folder.get(), &place.folder_attributes) != 0) return errno;
  if (makes && geteuid() == 0) Walked().Add(path, place.folder_attributes);
  return 0;
}

FilePlace Find(const std::string& path, Links links, bool makes) {
  FilePlace place;
  place.path = path;
  const auto fail = [&place](int error, std::string obstacle) {
    place.error = error;
    place.obstacle = std::move(obstacle);
    return std::move(place);
  };
  if (path.empty()) return fail(ENOENT, path);
  if (path.ends_with('/')) return fail(EISDIR, path);
  for (int followed = 0; followed <= kMaximumLinks; ++followed) {
    place.name = NameOf(place.path);
    if (const int error = OpenFolder(FolderOf(place.path), links, makes, place)) {
      place.error = error;
      return place;
    }
    std::string target;
    const int error = ReadLink(place.folder.get(), place.name.c_str(), &target);
    if (error == EINVAL || error == ENOENT) return place;
    if (error != 0) return fail(error, place.path);
    struct stat link;
    if (links == Links::kTrusted &&
        (fstatat(place.folder.get(), place.name.c_str(), &link, AT_SYMLINK_NOFOLLOW) != 0 ||
         !IsTrusted(link))) {
      return fail(EPERM, place.path);
    }
    place.path = target.starts_with('/') ? target : FolderOf(place.path) + '/' + target;
    if (place.path.ends_with('/')) return fail(EISDIR, place.path);
  }
  return fail(ELOOP, path);
}

}  // namespace

std::string FilePlace::folder_path() const {
  return FolderOf(path);
}

FilePlace FindPlace(const std::string& path, Links links) {
  return Find(path, links, false);
}

FilePlace MakePlace(const std::string& path) {
  return Find(path, Links::kTrusted, true);
}

void FollowFolder(int entry, const struct stat& folder) {
  struct stat own;
  if (fstat(entry, &own) != 0) return;
  if (geteuid() == 0 && folder.st_uid != own.st_uid) {
    // Without the right to give it away the entry stays root's.
    [[maybe_unused]] const int result = fchown(entry, folder.st_uid, static_cast<gid_t>(-1));
  }
  constexpr mode_t kGroupWrites = S_ISGID | S_IWGRP;
  if ((folder.st_mode & kGroupWrites) != kGroupWrites) return;
  const mode_t wanted = own.st_mode | S_IRGRP | S_IWGRP | (own.st_mode & S_IXUSR ? S_IXGRP : 0);
  if (wanted != own.st_mode) fchmod(entry, wanted & 07777);
}

}  // namespace orvik::host
