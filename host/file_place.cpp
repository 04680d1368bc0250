#include "host/file_place.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

#include "host/file_lock.h"
#include "host/staged_file.h"
#include "host/system.h"
#include "host/trust.h"

namespace orvik::host {
namespace {

bool IsGivenAway(const struct stat& folder) {
  return geteuid() == 0 && folder.st_uid != 0;
}

bool IsOpenToGroup(const struct stat& folder) {
  constexpr mode_t kGroupWrites = S_ISGID | S_IWGRP;
  return (folder.st_mode & kGroupWrites) == kGroupWrites;
}

int MakeAndOpen(int folder, const char* name, Descriptor* made, struct stat* own) {
  if (mkdirat(folder, name, 0777) != 0) return errno;
  *made = Descriptor(openat(folder, name, kOpenFolder));
  return *made && fstat(made->get(), own) == 0 ? 0 : errno;
}

// Makes a folder with mode 0777 less the umask, which follows its folder (InheritFromFolder).
// `folder` is open for reading and has the attributes `attributes`. Returns 0, with the new folder
// open for reading in `made` and its attributes in `own`; EEXIST when the name is taken; or another
// errno. Does not flush the name.
//
// A folder that is given to another user or opened to a group is made inside a staged folder that
// only the caller can enter, and gets its name after the change. So no other user can replace it
// meanwhile, and no other folder is ever changed.
int MakeFolder(int folder, const struct stat& attributes, const std::string& name, Descriptor* made,
               struct stat* own) {
  if (!IsGivenAway(attributes) && !IsOpenToGroup(attributes)) {
    return MakeAndOpen(folder, name.c_str(), made, own);
  }
  StagedFolder staged(folder, name);
  if (const int error = staged.Make()) return error;
  // Changes nothing if another user could have replaced the staged folder.
  if (!staged.IsPrivate()) return MakeAndOpen(folder, name.c_str(), made, own);
  constexpr char kEntry[] = "entry";
  if (const int error = MakeAndOpen(staged.descriptor(), kEntry, made, own)) return error;
  if (!InheritFromFolder(made->get(), attributes, own)) return errno;
  return RenameWithoutReplacing(staged.descriptor(), kEntry, folder, name.c_str());
}

constexpr int kMaximumLinks = 40;
constexpr int kOpenFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// Opens the folder in one step if no link is on the way. Otherwise -1 with errno.
int OpenWithoutLinks(const std::string& path) {
  open_how how = {};
  how.flags = kOpenFolderFlags;
  how.resolve = RESOLVE_NO_SYMLINKS;
  return static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how));
}

// Whether an unprivileged user can replace this folder or its entries. The group of the last folder
// is meant to write it if the folder has the set-group bit.
bool IsSwappable(const struct stat& folder, bool is_last) {
  if (folder.st_uid != 0) return true;
  mode_t writers = folder.st_mode & (S_IWGRP | S_IWOTH);
  if (folder.st_gid == 0 || (is_last && (folder.st_mode & S_ISGID) != 0)) writers &= ~S_IWGRP;
  return writers != 0 && (folder.st_mode & S_ISVTX) == 0;
}

// Goes down a path one component at a time, through trusted links only, and makes missing folders.
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
    if (const int error = MakeReadable()) return error;
    place_.folder = std::move(here_);
    return fstat(place_.folder.get(), &place_.folder_attributes) == 0 ? 0 : errno;
  }

 private:
  int Start() {
    const bool is_absolute = rest_.starts_with('/');
    here_ = Descriptor(open(is_absolute ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (is_absolute) walked_ = "/";
    is_readable_ = is_new_ = false;
    here_attributes_ = {};
    return here_ ? 0 : errno;
  }

  std::string NextName() {
    const std::size_t slash = rest_.find('/');
    std::string name = rest_.substr(0, slash);
    rest_.erase(0, slash == std::string::npos ? rest_.size() : slash + 1);
    return name;
  }

  struct Entry {
    Descriptor descriptor;
    struct stat attributes = {};
    bool is_new = false;  // a new folder, which is open for reading
  };

  int Enter(const std::string& name) {
    Entry next;
    int error = is_new_ ? ENOENT : Open(name, &next);
    if (error == ENOENT && makes_) error = Make(name, &next);
    if (error != 0) return error;
    if (S_ISLNK(next.attributes.st_mode)) return Follow(next.descriptor.get(), next.attributes);
    if (!S_ISDIR(next.attributes.st_mode)) return ENOTDIR;
    if (here_attributes_.st_mode != 0 && IsSwappable(here_attributes_, false)) ReportSwappable();
    here_ = std::move(next.descriptor);
    here_attributes_ = next.attributes;
    is_readable_ = is_new_ = next.is_new;
    walked_ += name + "/";
    return 0;
  }

  int Open(const std::string& name, Entry* entry) const {
    entry->descriptor =
        Descriptor(openat(here_.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!entry->descriptor) return errno;
    return fstat(entry->descriptor.get(), &entry->attributes) == 0 ? 0 : errno;
  }

  int Follow(int link, const struct stat& attributes) {
    struct stat folder;
    if (fstat(here_.get(), &folder) != 0) return errno;
    if (!MayFollow(attributes, folder)) return EPERM;
    if (++links_ > kMaximumLinks) return ELOOP;
    std::string target;
    if (const int error = ReadLink(link, "", &target)) return error;
    rest_ = target + "/" + rest_;
    return target.starts_with('/') ? Start() : 0;
  }

  int Make(const std::string& name, Entry* entry) {
    if (const int error = MakeReadable()) return error;
    struct stat attributes = here_attributes_;
    if (attributes.st_mode == 0 && fstat(here_.get(), &attributes) != 0) return errno;
    const int error =
        MakeFolder(here_.get(), attributes, name, &entry->descriptor, &entry->attributes);
    entry->is_new = error == 0;
    return error == EEXIST ? Open(name, entry) : error;
  }

  int MakeReadable() {
    if (is_readable_) return 0;
    Descriptor readable(openat(here_.get(), ".", kOpenFolderFlags));
    if (!readable) return errno;
    here_ = std::move(readable);
    is_readable_ = true;
    return 0;
  }

  // Only a process of root can be made to harm other users.
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
  struct stat here_attributes_ = {};  // zero before the first folder
  bool is_readable_ = false;          // open for reading, not with O_PATH
  bool is_new_ = false;               // made here, so that it is empty
  int links_ = 0;
};

// The folders that root has reached, so that each is examined only once in a process.
class CheckedFolders {
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

CheckedFolders& Checked() {
  static auto& walked = *new CheckedFolders;
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
    if (!makes || Checked().Has(path, place.folder_attributes) || geteuid() != 0) return 0;
  }
  if (const int error = Walk(place, makes).Run(path)) return error;
  if (makes && geteuid() == 0) Checked().Add(path, place.folder_attributes);
  return 0;
}

enum class Leaf { kFollowed, kItself };

FilePlace Find(const std::string& path, Links links, Leaf leaf, bool makes) {
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
    place.name = std::string(LeafName(place.path));
    if (const int error = OpenFolder(std::string(ParentPath(place.path)), links, makes, place)) {
      place.error = error;
      return place;
    }
    if (leaf == Leaf::kItself) return place;
    std::string target;
    const int error = ReadLink(place.folder.get(), place.name.c_str(), &target);
    if (error == EINVAL || error == ENOENT) return place;
    if (error != 0) return fail(error, place.path);
    if (links == Links::kTrusted) {
      // Judges and reads the same link, even if the name is changed meanwhile.
      constexpr int kFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
      const Descriptor link(openat(place.folder.get(), place.name.c_str(), kFlags));
      struct stat attributes;
      if (!link && errno == ENOENT) continue;
      if (!link || fstat(link.get(), &attributes) != 0) return fail(errno, place.path);
      if (!S_ISLNK(attributes.st_mode)) continue;
      if (!MayFollow(attributes, place.folder_attributes)) return fail(EPERM, place.path);
      if (const int unread = ReadLink(link.get(), "", &target)) return fail(unread, place.path);
    }
    place.path =
        target.starts_with('/') ? target : std::string(ParentPath(place.path)) + '/' + target;
    if (place.path.ends_with('/')) return fail(EISDIR, place.path);
  }
  return fail(ELOOP, path);
}

}  // namespace

bool InheritFromFolder(int entry, const struct stat& folder, struct stat* own) {
  if (fstat(entry, own) != 0) return false;
  // If the caller may not change the owner, the entry stays root's.
  if (IsGivenAway(folder) && own->st_uid == 0 &&
      fchown(entry, folder.st_uid, static_cast<gid_t>(-1)) == 0) {
    own->st_uid = folder.st_uid;
  }
  if (!IsOpenToGroup(folder)) return true;
  mode_t wanted = own->st_mode | S_IRGRP | S_IWGRP | (folder.st_mode & S_IROTH);
  if ((own->st_mode & S_IXUSR) != 0) wanted |= S_IXGRP | (folder.st_mode & S_IXOTH);
  if (wanted != own->st_mode && fchmod(entry, wanted & 07777) == 0) own->st_mode = wanted;
  return true;
}

int StatEntry(const FilePlace& place, struct stat* attributes) {
  return fstatat(place.folder.get(), place.name.c_str(), attributes, AT_SYMLINK_NOFOLLOW) == 0
             ? 0
             : errno;
}

int RemoveEntry(const FilePlace& place, const FileIdentity& known) {
  struct stat present;
  if (const int error = StatEntry(place, &present)) return error;
  const bool is_known =
      known.exists && known.device == present.st_dev && known.inode == present.st_ino;
  if (!is_known) return ENOENT;
  return unlinkat(place.folder.get(), place.name.c_str(), 0) == 0 ? 0 : errno;
}

std::string FilePlace::folder_path() const {
  return std::string(ParentPath(path));
}

FilePlace FindPlace(const std::string& path, Links links) {
  return Find(path, links, Leaf::kFollowed, false);
}

FilePlace FindEntry(const std::string& path, Links links) {
  return Find(path, links, Leaf::kItself, false);
}

FilePlace MakePlace(const std::string& path) {
  return Find(path, Links::kTrusted, Leaf::kFollowed, true);
}

int FlushWay(int folder) {
  struct stat below;
  if (fstat(folder, &below) != 0) return errno;
  Descriptor here;
  for (;;) {
    Descriptor above(openat(here ? here.get() : folder, "..", kOpenFolderFlags));
    if (!above && errno == EACCES) {
      // A folder that cannot be opened for reading cannot be flushed by itself.
      const Descriptor readable(openat(folder, ".", kOpenFolderFlags));
      if (!readable) sync();
      return !readable || syncfs(readable.get()) == 0 ? 0 : errno;
    }
    struct stat attributes;
    if (!above || fstat(above.get(), &attributes) != 0) return errno;
    const bool is_top = attributes.st_dev != below.st_dev || attributes.st_ino == below.st_ino;
    if (is_top) return 0;
    if (const int error = FlushFolder(above.get())) return error;
    here = std::move(above);
    below = attributes;
  }
}

int FlushWay(const FilePlace& place) {
  return HasEntry(place.folder.get(), kFolderLockName) ? 0 : FlushWay(place.folder.get());
}

}  // namespace orvik::host
