#include "plist/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/staged_file.h"
#include "host/system.h"
#include "plist/forms.h"

namespace orvik::plist {

namespace {

// A network volume answers ESTALE when another machine replaced the file between two steps.
constexpr int kStaleTries = 3;
// What is written in place starts with room for longer values.
constexpr std::size_t kRoomInPlace = 512;

constexpr int kLooksPerSecond = 50;

FileWriterWait& WaitForWriter() {
  static FileWriterWait wait = [] { usleep(1'000'000 / kLooksPerSecond); };
  return wait;
}

thread_local KeptAsideFiles* kept_aside_files = nullptr;

void LogRefusal(const std::string& link) {
  host::SystemLog(LOG_WARNING, "Link of another user is not followed: \"" + link + "\"");
}

// 0, EINVAL or EFBIG.
int Serialize(const Value& root, std::string& bytes) {
  Failure failure;
  std::optional<std::string> xml = WriteXml(root, &failure);
  if (!xml) return failure.is_too_large ? EFBIG : EINVAL;
  bytes = std::move(*xml);
  return 0;
}

bool IsSameFile(const struct stat& present, const host::FileIdentity& known) {
  return known.exists && known.device == present.st_dev && known.inode == present.st_ino;
}

}  // namespace

FileWriterWait ExchangeFileWriterWait(FileWriterWait wait) {
  return std::exchange(WaitForWriter(), std::move(wait));
}

KeptAsideFiles::KeptAsideFiles() : outer_(std::exchange(kept_aside_files, this)) {}

KeptAsideFiles::~KeptAsideFiles() {
  kept_aside_files = outer_;
}

File::File(std::string path, host::Flush flush, Saving saving)
    : path_(std::move(path)), flush_(flush), saving_(saving) {}

File::~File() {
  if (!kept_.path.empty()) host::PutBack(kept_, place_);
}

int File::Lock(Folder folder, int milliseconds) {
  if (path_.empty()) return EINVAL;
  FindForChange(folder);
  if (place_.error == EPERM) LogRefusal(place_.obstacle);
  if (!place_) return place_.error;
  if (const int error = host::FlushWay(place_)) return error;
  lock_deadline_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  lock_ = host::FolderLock::Take(place_.folder.get(), place_.folder_attributes, milliseconds);
  const int error = lock_.error();
  if ((error == EINVAL || error == EACCES) && *lock_.obstacle() != '\0') {
    place_.obstacle = place_.folder_path() + "/" + lock_.obstacle();
  }
  return error;
}

void File::FindForChange(Folder folder) {
  // The folder itself leads no further, as a link under the file's name would.
  const bool follows = saving_ == Saving::kWhole || path_.empty();
  const std::string path = follows ? path_ : std::string(host::ParentPath(path_)) + "/.";
  place_ = folder == Folder::kMake ? host::MakePlace(path)
                                   : host::FindPlace(path, host::Links::kTrusted);
  has_place_ = place_.error != ENOENT;
  if (follows) return;
  place_.name = std::string(host::LeafName(path_));
  place_.path = path_;
}

int File::Find() {
  FindForChange(Folder::kFind);
  return place_.error;
}

int File::OpenAndRead(std::string* bytes) {
  constexpr std::size_t kLimit = kMaximumFileSize;
  is_writable_ = is_locked();
  const int error =
      host::ReadWholeFile(place_, kLimit, bytes, &opened_, is_writable_ ? O_RDWR : O_RDONLY);
  if (!is_writable_ || (error != EACCES && error != EPERM && error != EROFS)) return error;
  // What may not be written may be readable.
  is_writable_ = false;
  return host::ReadWholeFile(place_, kLimit, bytes, &opened_);
}

int File::ReadBytes(std::string* bytes) {
  // Somebody else changes the file only if the lock's file was removed meanwhile.
  constexpr int kTries = 100;
  for (int tries = 1;; ++tries) {
    const int error = OpenAndRead(bytes);
    if (error != 0 || !is_writable_ || lock_.is_nested()) return error;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        lock_deadline_ - std::chrono::steady_clock::now());
    const int wait = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    if (host::LockContent(opened_.descriptor.get(), wait) == EWOULDBLOCK) return EWOULDBLOCK;
    struct stat present;
    const char* const name = place_.name.c_str();
    if (fstatat(place_.folder.get(), name, &present, AT_SYMLINK_NOFOLLOW) == 0 &&
        host::IdentityOf(present) == opened_.identity) {
      return 0;
    }
    if (wait == 0 && tries >= kTries) return EWOULDBLOCK;
  }
}

File::Contents File::Read() {
  ReadOnce();
  if (is_locked() && contents_ == Contents::kDamaged) AwaitWriter();
  return contents_;
}

void File::AwaitWriter() {
  constexpr std::int64_t kSecond = 1'000'000'000;
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t age = now.tv_sec * kSecond + now.tv_nsec - opened_.identity.modified;
  // Clocks of servers differ; a time far ahead says nothing.
  if (age > kSecond || age < -60 * kSecond) return;
  int quiet = 0;
  for (int looks = 0; looks < 5 * kLooksPerSecond && quiet < kLooksPerSecond; ++looks) {
    WaitForWriter()();
    struct stat attributes;
    const bool is_same =
        fstatat(place_.folder.get(), place_.name.c_str(), &attributes, AT_SYMLINK_NOFOLLOW) == 0 &&
        host::IdentityOf(attributes) == opened_.identity;
    quiet = is_same ? quiet + 1 : 0;
    if (!is_same && ReadOnce() != Contents::kDamaged) return;
  }
}

File::Contents File::ReadOnce() {
  root_ = {};
  bytes_.reset();
  std::string bytes;
  for (int tries = 1;; ++tries) {
    if (!has_place_ && !path_.empty()) place_ = host::FindPlace(path_, host::Links::kAny);
    error_ = path_.empty() ? ENOENT : place_.error;
    if (error_ == 0) {
      error_ = ReadBytes(&bytes);
    }
    if (error_ != ESTALE || tries == kStaleTries) break;
  }
  if (error_ != 0) {
    opened_ = {};
    contents_ = error_ == ENOENT ? Contents::kMissing : Contents::kUnreadable;
    return contents_;
  }
  bytes_ = std::make_shared<const std::string>(std::move(bytes));
  Reading reading = plist::Read(bytes_);
  if (reading.is_too_large) {
    error_ = EFBIG;
    opened_ = {};
    bytes_.reset();
    return contents_ = Contents::kUnreadable;
  }
  root_ = std::move(reading.root);
  contents_ = !root_                  ? Contents::kDamaged
              : root_.is_dictionary() ? Contents::kEntries
                                      : Contents::kNotDictionary;
  return contents_;
}

int File::KeepAside() {
  if (bytes_) {
    kept_ = host::KeepBeside(place_, *bytes_, flush_);
    return kept_.error;
  }
  if (error_ != EACCES) return error_;
  kept_ = host::KeepUnreadBeside(place_);
  return kept_.error == 0 ? 0 : error_;
}

int File::Save(const Value& root) {
  std::string bytes;
  if (const int error = Serialize(root, bytes)) return error;
  if (bytes_ && bytes == *bytes_) return Flush();
  return Replace(bytes);
}

int File::Replace(std::string_view bytes) {
  if (!is_locked()) return place_.error != 0 ? place_.error : EINVAL;
  const bool is_superseded = contents_ == Contents::kUnreadable && !kept_.path.empty();
  if (contents_ == Contents::kUnreadable && !is_superseded) return error_;
  const host::ReplaceResult result = is_superseded
                                         ? host::SupersedeFile(place_, bytes)
                                         : host::ReplaceFile(place_, bytes, flush_, opened_);
  wrote_ = result.wrote;
  if (result.wrote) {
    lock_.KeepFile();
    // The old file is no longer there to be put back, or to be written.
    if (!kept_.path.empty() && kept_aside_files != nullptr) {
      kept_aside_files->files_.push_back({path_, kept_.path});
    }
    kept_ = {};
    in_place_ = {};
    is_writable_ = false;
    opened_.identity = result.identity;
  }
  return result.error;
}

int File::SaveInPlace(const Value& root) {
  std::string bytes;
  if (const int error = Serialize(root, bytes)) return error;
  const std::size_t size = bytes_ ? bytes_->size() : 0;
  const bool fits = contents_ == Contents::kEntries && bytes.size() <= size;
  bytes.resize(std::max({bytes.size(), size, kRoomInPlace}), '\n');
  if (!fits) {
    if (const int error = Replace(bytes)) return error;
    bytes_ = std::make_shared<const std::string>(std::move(bytes));
    contents_ = Contents::kEntries;
    return 0;
  }
  constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  if (!in_place_ && !is_writable_) {
    in_place_ = host::Descriptor(openat(place_.folder.get(), place_.name.c_str(), kFlags));
    struct stat present;
    if (!in_place_ || fstat(in_place_.get(), &present) != 0) return errno;
    if (!IsSameFile(present, opened_.identity)) {
      in_place_ = {};
      return ENOENT;
    }
  }
  const int file = is_writable_ ? opened_.descriptor.get() : in_place_.get();
  if (file < 0) return errno;
  if (const int error = host::WriteAllAt(file, bytes, 0)) return error;
  wrote_ = true;
  lock_.KeepFile();
  bytes_ = std::make_shared<const std::string>(std::move(bytes));
  return 0;
}

int File::Flush() {
  if (flush_ == host::Flush::kNone || !opened_.descriptor) return 0;
  if (fsync(opened_.descriptor.get()) != 0) return errno;
  return host::FlushFolderOf(place_);
}

int File::Remove(const host::FileIdentity& known) {
  const int folder = place_.folder.get();
  const char* const name = place_.name.c_str();
  struct stat present;
  if (fstatat(folder, name, &present, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (!IsSameFile(present, known)) return ENOENT;
  return unlinkat(folder, name, 0) == 0 ? 0 : errno;
}

}  // namespace orvik::plist
