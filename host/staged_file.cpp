#include "host/staged_file.h"

#include <fcntl.h>
#include <inttypes.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/random.h>
#include <time.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "host/tree_removal.h"
#include "host/tree_walk.h"
#include "host/trust.h"

namespace orvik::host {
namespace {

// How often a name is replaced by a new one because it is taken.
constexpr int kTries = 100;
constexpr std::size_t kRandomDigits = 16;
constexpr char kMark[] = ".orvik-";

// The start of the names of all staged entries of the target. With the random digits, a name has at
// most 255 bytes.
std::string NameBeginning(const std::string& target_name) {
  constexpr std::size_t kLongestName = 255;
  if (target_name.size() + sizeof kMark + kRandomDigits <= kLongestName) {
    return "." + target_name + kMark;
  }
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const char byte : target_name) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211u;
  }
  char digits[17];
  snprintf(digits, sizeof digits, "%016" PRIx64, hash);
  return "." + std::string(digits) + kMark;
}

// Whether the name consists of the beginning and random digits.
bool IsStagedName(std::string_view name, std::string_view beginning) {
  if (name.size() != beginning.size() + kRandomDigits || !name.starts_with(beginning)) return false;
  return name.find_first_not_of("0123456789abcdef", beginning.size()) == name.npos;
}

// The names of staged entries in the folders that this process has searched, and the modification
// time of each folder at that time. While a folder is unchanged, it need not be searched again.
class SearchedFolders {
 public:
  using Names = std::vector<std::string>;

  std::optional<Names> Find(const struct stat& folder) {
    const std::lock_guard guard(guard_);
    const auto found = folders_.find({folder.st_dev, folder.st_ino});
    if (found == folders_.end() || found->second.time != TimeOf(folder)) return std::nullopt;
    return found->second.names;
  }
  void Add(const struct stat& folder, const Names& names) {
    // Bounds the memory of programs that write into ever new folders.
    constexpr std::size_t kMaximumFolders = 1000;
    constexpr std::size_t kMaximumNames = 100;
    const std::lock_guard guard(guard_);
    if (folders_.size() >= kMaximumFolders) folders_.clear();
    if (names.size() <= kMaximumNames) {
      folders_[{folder.st_dev, folder.st_ino}] = {TimeOf(folder), names};
    }
  }
  // Records a change that this process has made itself.
  void Renew(const struct stat& folder) {
    const std::lock_guard guard(guard_);
    const auto found = folders_.find({folder.st_dev, folder.st_ino});
    if (found != folders_.end()) found->second.time = TimeOf(folder);
  }

 private:
  using Time = std::pair<std::int64_t, std::int64_t>;
  struct Search {
    Time time;
    Names names;
  };
  static Time TimeOf(const struct stat& folder) {
    return {folder.st_mtim.tv_sec, folder.st_mtim.tv_nsec};
  }

  std::mutex guard_;
  std::map<std::pair<dev_t, ino_t>, Search> folders_;
};

SearchedFolders& Searched() {
  static auto& searched = *new SearchedFolders;
  return searched;
}

// Removes a folder and its content. If another folder has taken its name, that one stays, unless it
// is empty.
void RemoveOwn(Descriptor entry, int folder, const char* name) {
  if (EmptyFolder(std::move(entry), Obstacles::kOverride) == 0) {
    unlinkat(folder, name, AT_REMOVEDIR);
  }
}

}  // namespace

int RenameWithoutReplacing(int from, const char* from_name, int to, const char* to_name) {
  if (renameat2(from, from_name, to, to_name, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The volume does not support the flag, or the folder would go into itself, which fails again.
  if (HasEntry(to, to_name)) return EEXIST;
  return renameat(from, from_name, to, to_name) == 0 ? 0 : errno;
}

std::string RandomDigits() {
  // Gets several numbers at once. A forked child starts with the same unused numbers as its parent;
  // the callers skip names that are taken.
  constexpr std::size_t kNumbers = 8;
  thread_local std::uint64_t numbers[kNumbers];
  thread_local std::size_t left = 0;
  std::uint64_t number = 0;
  if (left == 0 && getrandom(numbers, sizeof numbers, GRND_NONBLOCK) == sizeof numbers) {
    left = kNumbers;
  }
  if (left > 0) {
    number = std::exchange(numbers[--left], 0);
  } else {
    // getrandom fails only on kernels without the call; the clock then gives a name that is
    // probably free.
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    number = static_cast<std::uint64_t>(now.tv_nsec) << 32 ^ static_cast<std::uint64_t>(getpid());
  }
  char digits[kRandomDigits + 1];
  snprintf(digits, sizeof digits, "%016" PRIx64, number);
  return digits;
}

int LinkUnnamed(int file, int folder, const char* name) {
  // The direct way works for the process that opened the file; older kernels allow it only to the
  // superuser and give ENOENT to other users.
  if (linkat(file, "", folder, name, AT_EMPTY_PATH) == 0) return 0;
  if (errno != ENOENT) return errno;
  const std::string path = ProcPath(file);
  return linkat(AT_FDCWD, path.c_str(), folder, name, AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

int FlushFolder(int folder) {
  return fsync(folder) == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

bool HasStagedEntries(int folder) {
  return ListFolder(folder, [](const dirent& entry) {
           return std::string_view(entry.d_name).find(kMark) != std::string_view::npos ? 1 : 0;
         }) != 0;
}

StagedEntry::StagedEntry(int folder, std::string target)
    : folder_(folder), target_(std::move(target)) {}

void StagedEntry::RemoveAbandoned() {
  struct stat folder;
  if (fstat(folder_, &folder) != 0) return;
  std::optional<SearchedFolders::Names> names = Searched().Find(folder);
  is_searched_ = names.has_value();
  if (!names) {
    names.emplace();
    const auto note = [&names](const dirent& entry) {
      const std::string_view name = entry.d_name;
      if (name.find(kMark) != name.npos) names->emplace_back(name);
      return 0;
    };
    int error = ListFolder(folder_, note);
    if (error == EBADF) {  // opened with O_PATH
      const Descriptor listed(openat(folder_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      error = listed ? ListFolder(listed.get(), note) : errno;
    }
    is_searched_ = error == 0;
    if (is_searched_) Searched().Add(folder, *names);
  }
  const std::string beginning = NameBeginning(target_);
  for (const std::string& name : *names) {
    if (IsStagedName(name, beginning)) RemoveIfAbandoned(name, folder);
  }
}

void StagedEntry::RemoveIfAbandoned(const std::string& name, const struct stat& folder) const {
  struct stat own, target;
  Descriptor entry = OpenRegular(folder_, name.c_str(), O_RDONLY | O_NOFOLLOW);
  if (!entry && errno == EISDIR) entry = Descriptor(openat(folder_, name.c_str(), kOpenFolder));
  if (!entry || flock(entry.get(), LOCK_EX | LOCK_NB) != 0 ||
      !HasName(entry.get(), folder_, name.c_str()) || fstat(entry.get(), &own) != 0) {
    return;
  }
  const bool has_target = fstatat(folder_, target_.c_str(), &target, AT_SYMLINK_NOFOLLOW) == 0;
  if (!MayRemoveStaged(own, folder, has_target ? &target : nullptr)) return;
  if (S_ISREG(own.st_mode)) {
    unlinkat(folder_, name.c_str(), 0);
  } else {
    RemoveOwn(std::move(entry), folder_, name.c_str());
  }
}

void StagedEntry::NoteCommit() const {
  struct stat folder;
  if (is_searched_ && fstat(folder_, &folder) == 0) Searched().Renew(folder);
}

template <class Function>
int StagedEntry::WithFreeName(Function function) {
  const std::string beginning = NameBeginning(target_);
  for (int tries = 0; tries < kTries; ++tries) {
    std::string name = beginning + RandomDigits();
    const int error = function(name);
    if (error == 0) name_ = std::move(name);
    if (error != EEXIST) return error;
  }
  return EBUSY;
}

int StagedEntry::Lock(const std::string& name) const {
  const bool is_taken = flock(entry_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  return !is_taken && HasName(entry_.get(), folder_, name.c_str()) ? 0 : EEXIST;
}

StagedFile::~StagedFile() {
  if (!name_.empty()) unlinkat(folder_, name_.c_str(), 0);
}

int StagedFile::Make(mode_t mode, bool clean, mode_t named) {
  if (clean) RemoveAbandoned();
  entry_ = Descriptor(openat(folder_, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, mode));
  if (entry_ && CanGetName()) return 0;
  if (!entry_ && errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT && errno != EINVAL)
    return errno;
  return MakeNamed(mode & named);
}

int StagedFile::Arrived(int error) {
  if (error == 0) {
    name_.clear();
    NoteCommit();
  }
  return error;
}

int StagedFile::Commit(int old_file) {
  if (!has_name()) {
    if (const int error = GiveName()) return error;
  }
  if (old_file >= 0 && Exchange(old_file)) return 0;
  const int result = renameat(folder_, name_.c_str(), folder_, target_.c_str());
  return Arrived(result == 0 ? 0 : errno);
}

int StagedFile::CommitAsNew() {
  if (!has_name()) return Arrived(LinkUnnamed(entry_.get(), folder_, target_.c_str()));
  const char* const name = name_.c_str();
  const char* const target = target_.c_str();
  if (renameat2(folder_, name, folder_, target, RENAME_NOREPLACE) == 0) return Arrived(0);
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The volume does not support the flag. A hard link does not replace a file either. The
  // destructor removes the first name; if this process is killed, the next writer of the target
  // does.
  if (linkat(folder_, name, folder_, target, 0) == 0) return 0;
  if (errno != EPERM && errno != EOPNOTSUPP) return errno;
  return Arrived(RenameWithoutReplacing(folder_, name, folder_, target));
}

int StagedFile::CommitUnlessTaken() {
  if (!has_name()) return CommitAsNew();
  return Arrived(RenameWithoutReplacing(folder_, name_.c_str(), folder_, target_.c_str()));
}

void StagedFile::Rollback() {
  if (HasName(entry_.get(), folder_, target_.c_str())) unlinkat(folder_, target_.c_str(), 0);
}

// Without /proc a file without a name cannot be given one.
bool StagedFile::CanGetName() const {
  static const bool has_proc = access(ProcPath(entry_.get()).c_str(), F_OK) == 0;
  return has_proc;
}

// Some volumes write a new file out at once when it is renamed over another, and the next rename
// waits for that; an exchange avoids it. The old file is locked, so that no process removes it as
// abandoned and then takes its name.
bool StagedFile::Exchange(int old_file) {
  if (flock(old_file, LOCK_EX | LOCK_NB) != 0 ||
      renameat2(folder_, name_.c_str(), folder_, target_.c_str(), RENAME_EXCHANGE) != 0) {
    return false;
  }
  if (HasName(old_file, folder_, name_.c_str())) {
    unlinkat(folder_, name_.c_str(), 0);
  } else {
    RemoveAbandoned();
  }
  name_.clear();
  return true;
}

int StagedFile::GiveName() {
  flock(entry_.get(), LOCK_EX | LOCK_NB);
  return WithFreeName(
      [this](const std::string& name) { return LinkUnnamed(entry_.get(), folder_, name.c_str()); });
}

int StagedFile::MakeNamed(mode_t mode) {
  return WithFreeName([this, mode](const std::string& name) {
    constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    entry_ = Descriptor(openat(folder_, name.c_str(), kFlags, mode));
    return entry_ ? Lock(name) : errno;
  });
}

StagedFolder::~StagedFolder() {
  if (name_.empty()) return;
  try {
    RemoveOwn(std::move(entry_), folder_, name_.c_str());
  } catch (...) {  // out of memory: the next writer removes it
  }
}

int StagedFolder::Make() {
  RemoveAbandoned();
  return WithFreeName([this](const std::string& name) {
    if (mkdirat(folder_, name.c_str(), 0700) != 0) return errno;
    entry_ = Descriptor(openat(folder_, name.c_str(), kOpenFolder));
    if (entry_) return Lock(name);
    const int error = errno;
    if (error == ENOENT) return EEXIST;  // another process has removed it as abandoned
    unlinkat(folder_, name.c_str(), AT_REMOVEDIR);
    return error;
  });
}

bool StagedFolder::IsPrivate() const {
  struct stat own;
  return fstat(entry_.get(), &own) == 0 && own.st_uid == geteuid() && (own.st_mode & 0777) == 0700;
}

int StagedFolder::CommitAsNew() {
  const int error = RenameWithoutReplacing(folder_, name_.c_str(), folder_, target_.c_str());
  if (error == 0) staged_name_ = std::exchange(name_, {});
  return error;
}

void StagedFolder::Rollback() {
  if (!HasName(entry_.get(), folder_, target_.c_str())) return;
  const char* const name = staged_name_.c_str();
  if (RenameWithoutReplacing(folder_, target_.c_str(), folder_, name) == 0) {
    name_ = std::move(staged_name_);
  }
}

}  // namespace orvik::host
