#include "plist/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "host/file_names.h"
#include "host/staged_file.h"
#include "host/system.h"
#include "plist/forms.h"
#include "text/characters.h"

namespace orvik::plist {

namespace {

// A network volume returns ESTALE when another machine replaced the file between two calls.
constexpr int kStaleTries = 3;
// A file that is written in place starts with room for longer values.
constexpr std::size_t kRoomInPlace = 512;

constexpr int kLooksPerSecond = 50;

FileWriterWait& WaitForWriter() {
  static auto* const wait = new FileWriterWait([] { usleep(1'000'000 / kLooksPerSecond); });
  return *wait;
}

thread_local KeptAsideFiles* kept_aside_files = nullptr;

// Returns 0, EINVAL or EFBIG.
int Serialize(const Value& root, std::string& bytes) {
  Failure failure;
  std::optional<std::string> xml = WriteXml(root, &failure);
  if (!xml) return failure.is_too_large ? EFBIG : EINVAL;
  bytes = std::move(*xml);
  return 0;
}

}  // namespace

std::string PreferenceFile(PreferenceFolder folder, std::u16string_view domain) {
  const std::optional<std::string> name = host::FileNameToBytes(domain);
  // Lone surrogates become bytes that are not UTF-8; two different ones can give the same name.
  if (!name || name->size() > kMaximumDomainBytes || domain.find(u'\\') != domain.npos ||
      FindUnpairedSurrogate(domain) != domain.npos) {
    return {};
  }
  // The lock record of a domain needs a file name, too; the longest is ".<domain>.lock.plist".
  constexpr std::size_t kLongestName = 255 - (sizeof "..lock.plist" - 1);
  for (std::string_view rest = *name;;) {
    const std::size_t slash = rest.find('/');
    const std::string_view component = rest.substr(0, slash);
    const bool is_lock = slash == rest.npos && component.ends_with(".lock");
    if (component.empty() || component == "." || component == ".." ||
        component.size() > kLongestName + (is_lock ? sizeof ".lock" - 1 : 0)) {
      return {};
    }
    if (slash == rest.npos) break;
    rest.remove_prefix(slash + 1);
  }
  std::string path = folder == PreferenceFolder::kUser ? host::HomeFolder() : host::SystemRoot();
  if (path == "/") path.clear();
  if (folder == PreferenceFolder::kShared) path += "/Users/Shared";
  return path + "/Library/Preferences/" + *name + ".plist";
}

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
  if (!kept_.path.empty()) host::RestoreKept(kept_, place_);
}

int File::Lock(Folder folder, int milliseconds) {
  if (path_.empty()) return EINVAL;
  FindForChange(folder);
  if (place_.error == EPERM) {
    host::SystemLog(LOG_WARNING,
                    "Link of another user is not followed: \"" + place_.obstacle + "\"");
  }
  if (!place_) return place_.error;
  if (const int error = host::FlushWay(place_)) return error;
  lock_deadline_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  lock_ = host::FolderLock::Acquire(place_.folder.get(), place_.folder_attributes, milliseconds);
  const int error = lock_.error();
  if ((error == EINVAL || error == EACCES) && *lock_.obstacle() != '\0') {
    place_.obstacle = place_.folder_path() + "/" + lock_.obstacle();
  }
  return error;
}

void File::FindForChange(Folder folder) {
  // Finds only the folder, so that a link under the file's name is not followed.
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
  // A file that cannot be written may still be readable.
  is_writable_ = false;
  return host::ReadWholeFile(place_, kLimit, bytes, &opened_);
}

int File::ReadBytes(std::string* bytes) {
  // Another process can change the file only if the lock file was removed meanwhile.
  constexpr int kTries = 100;
  for (int tries = 1;; ++tries) {
    const int error = OpenAndRead(bytes);
    if (error != 0 || !is_writable_ || lock_.is_nested()) return error;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        lock_deadline_ - std::chrono::steady_clock::now());
    const int wait = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    if (host::LockContent(opened_.descriptor.get(), wait) == EWOULDBLOCK) return EWOULDBLOCK;
    struct stat present;
    if (host::StatEntry(place_, &present) == 0 && host::IdentityOf(present) == opened_.identity) {
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
  // The clocks of servers differ; a modification time far ahead is meaningless.
  if (age > kSecond || age < -60 * kSecond) return;
  int quiet = 0;
  for (int looks = 0; looks < 5 * kLooksPerSecond && quiet < kLooksPerSecond; ++looks) {
    WaitForWriter()();
    struct stat attributes;
    const bool is_same = host::StatEntry(place_, &attributes) == 0 &&
                         host::IdentityOf(attributes) == opened_.identity;
    quiet = is_same ? quiet + 1 : 0;
    if (!is_same && ReadOnce() != Contents::kDamaged) return;
  }
}

// After ESTALE it looks the file up again, because the folder on the network volume may contain
// another file now.
File::Contents File::ReadOnce() {
  root_ = {};
  bytes_.reset();
  std::string bytes;
  for (int tries = 1;; ++tries) {
    if (!has_place_ && !path_.empty()) place_ = host::FindPlace(path_, host::Links::kAny);
    error_ = path_.empty() ? ENOENT : place_.error;
    if (error_ == 0) error_ = ReadBytes(&bytes);
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

// Replaces an unreadable file only after it was kept aside. Replaces a file that was read only if
// it is still the same file (host/replace_file.h).
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
    // The old file can no longer be put back or written to.
    if (!kept_.path.empty() && kept_aside_files != nullptr) {
      kept_aside_files->files_.push_back({path_, kept_.path});
    }
    kept_ = {};
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
  if (!is_writable_) {
    // After Replace, for instance, the new file is not open.
    host::OpenedFile own;
    std::string present;
    const int error = host::ReadWholeFile(place_, kMaximumFileSize, &present, &own, O_RDWR);
    if (error != 0) return error;
    if (!opened_.identity.exists || own.identity.device != opened_.identity.device ||
        own.identity.inode != opened_.identity.inode) {
      return ENOENT;
    }
    opened_ = std::move(own);
    is_writable_ = true;
  }
  if (const int error = host::WriteAllAt(opened_.descriptor.get(), bytes, 0)) return error;
  wrote_ = true;
  lock_.KeepFile();
  bytes_ = std::make_shared<const std::string>(std::move(bytes));
  return 0;
}

int File::Flush() {
  if (flush_ == host::Flush::kNone || !opened_.descriptor) return 0;
  return host::FlushFile(opened_.descriptor.get(), place_);
}

int File::Remove(const host::FileIdentity& known) {
  return host::RemoveEntry(place_, known);
}

}  // namespace orvik::plist
