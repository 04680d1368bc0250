// A property-list file with top-level entries: looked up once, locked, read once, and replaced
// whole. Preferences and the stores above the platform use it alike.
//
//   plist::File file(path);
//   if (int error = file.Lock(File::Folder::kMake)) return error;      // a change; else only Read
//   if (file.Read() == File::Contents::kUnreadable) return file.error();
//   if (file.contents() == File::Contents::kDamaged) file.KeepAside();
//   return file.Save(changed(file.root()));
//
// The replacement is atomic, even across a crash; a reader without the lock sees the old or the new
// file. The new file keeps mode, owner and extended attributes of the old one
// (host/replace_file.h).
//
// Errors are error numbers of Linux. Only ENOENT means that the file is missing: everything else
// that keeps it from being read (a file in place of a folder, a loop of links, a socket, ESTALE
// from a network volume, no permission) makes it unreadable. So does EFBIG: the file, or what a
// binary list becomes with its shared objects written out, is longer than
// kMaximumFileSize. Reading creates no files or folders.
//
// A change follows symbolic links only when they are root's or the caller's; any other one is EPERM
// with its path in obstacle(), and is logged. Without a change all links are followed.
//
// An object serves one operation of one thread.
#pragma once

#include <cerrno>
#include <chrono>
#include <concepts>
#include <functional>
#include <string>
#include <vector>

#include "host/file_lock.h"
#include "host/keep_beside.h"
#include "host/replace_file.h"
#include "plist/value.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

// The folders of preference files, below the user's home or the system root (host/system.h).
enum class PreferenceFolder {
  kUser,     // <home>/Library/Preferences
  kMachine,  // <system root>/Library/Preferences
  kShared,   // <system root>/Users/Shared/Library/Preferences
};

// Returns the path (bytes) of the file "<domain>.plist" in the folder, whether or not it exists; a
// "/" in the domain leads into a folder. "" for a domain that cannot name a file of its own: one
// that is empty, has more than kMaximumDomainBytes bytes of UTF-8, holds NUL, "\" or a lone
// surrogate, begins or ends with "/", or has an empty, "." or ".." component or one of more than
// 243 bytes (248 with the ending ".lock", so that the lock record of every domain has a name).
std::string PreferenceFile(PreferenceFolder folder, std::u16string_view domain);
inline constexpr std::size_t kMaximumDomainBytes = 1023;

// Lists the files that this thread kept aside and replaced while the object lives: for callers of
// functions that do not report them. Objects nest.
class KeptAsideFiles {
 public:
  struct Kept {
    std::string path;
    std::string kept_path;
  };

  KeptAsideFiles();
  ~KeptAsideFiles();
  KeptAsideFiles(const KeptAsideFiles&) = delete;
  KeptAsideFiles& operator=(const KeptAsideFiles&) = delete;

  const std::vector<Kept>& files() const { return files_; }

 private:
  friend class File;

  std::vector<Kept> files_;
  KeptAsideFiles* outer_;
};

// Sleeps for 20 ms between two reads of a file that may still be written. Tests set another
// function; the previous one is returned.
using FileWriterWait = std::function<void()>;
FileWriterWait ExchangeFileWriterWait(FileWriterWait wait);

class File {
 public:
  enum class Contents {
    kMissing,
    kUnreadable,
    kDamaged,        // not a property list
    kNotDictionary,  // a property list of another kind
    kEntries,
  };

  enum class Saving { kWhole, kInPlace };

  // "" is a file that cannot be located: it is missing, and changing it is EINVAL. For a change of
  // a file that is saved in place a link under its name is not followed (ELOOP).
  explicit File(std::string path, host::Flush flush = host::Flush::kToDisk,
                Saving saving = Saving::kWhole);
  // Unless the new file was saved, one that was kept aside is put back.
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const std::string& path() const { return path_; }

  // Opens the file's folder for a change and locks it to the end of the object's life, so that
  // no other user of this class changes a file of the folder (host/file_lock.h). Read comes
  // afterwards. ENOENT: the folder is missing and not to be made. EWOULDBLOCK: another holds the
  // lock for the whole wait.
  enum class Folder { kFind, kMake };
  int Lock(Folder folder, int milliseconds = kLockMilliseconds);
  void Unlock() { lock_ = {}; }
  bool is_locked() const { return lock_.held(); }
  // Whether Lock failed because the lock's file, which obstacle() names, may not be used.
  bool is_lock_refused() const { return lock_.error() == EINVAL && *lock_.obstacle() != '\0'; }

  // Finds the place of the file as for a change, but takes no lock: 0 or an error number. Read then
  // looks there.
  int Find();

  // Reads and parses the file. Under the lock its content is locked, too, where the caller may
  // write it (EWOULDBLOCK: another holds that for what is left of the wait). A file that is
  // damaged, and was changed less than a second ago, may be one that an editor or a copy is writing
  // in place: under the lock it is read again whenever it changes, until it is whole or has not
  // changed for a second, for five seconds at most.
  Contents Read();
  // The result of the last Read.
  Contents contents() const { return contents_; }
  int error() const { return error_; }           // why it is kUnreadable
  const Value& root() const { return root_; }    // no value unless it is a property list
  const Bytes& bytes() const { return bytes_; }  // null when they could not be read
  // Of the file that Read or Save left.
  const host::FileIdentity& identity() const { return opened_.identity; }
  const host::OpenedFile& opened() const { return opened_; }
  const host::FilePlace& place() const { return place_; }
  bool has_place() const { return has_place_; }  // found as for a change, or not to be found

  // The path of what made Lock or Read fail, if it is another one than the file's; "" otherwise.
  const std::string& obstacle() const { return place_.obstacle; }

  // Keeps a file that is no property list of entries beside its place, so that Save can replace it
  // (host/keep_beside.h). Of unreadable files only those are kept that the caller may not read;
  // after any other error the file may be readable again, and the error is returned.
  int KeepAside();
  // Where KeepAside put it.
  const std::string& kept_path() const { return kept_.path; }

  // Makes the file hold the property list as XML: EINVAL when it cannot be written as one, EFBIG
  // when it would be too large to be read again, EEXIST when Read found no file and there is one
  // now (RepeatWhileMade). A file with these very bytes is not written, only
  // put on disk. Needs Lock and Read.
  int Save(const Value& root);
  // The same by writing into the file, padded with line feeds to the size that it has, so that no
  // room is needed. A file that is missing, too short or no property list of entries is replaced.
  int SaveInPlace(const Value& root);
  bool wrote() const { return wrote_; }

  // Puts the file that Read found on disk, with its name.
  int Flush();

  // Removes the file with this identity (its device and inode), if it still has the name.
  int Remove(const host::FileIdentity& known);

  // Longer than any queue of changes takes; a holder that was stopped does not stop everybody.
  static constexpr int kLockMilliseconds = 10'000;

 private:
  void FindForChange(Folder folder);
  int OpenAndRead(std::string* bytes);
  int ReadBytes(std::string* bytes);
  Contents ReadOnce();
  void AwaitWriter();
  int Replace(std::string_view bytes);

  std::string path_;
  host::Flush flush_;
  Saving saving_;
  host::FilePlace place_;
  bool has_place_ = false;  // found as for a change
  host::FolderLock lock_;
  std::chrono::steady_clock::time_point lock_deadline_;
  host::OpenedFile opened_;
  bool is_writable_ = false;  // opened for writing, too
  host::KeptFile kept_;
  bool wrote_ = false;
  Contents contents_ = Contents::kMissing;
  int error_ = 0;
  Bytes bytes_;
  Value root_;
};

// Repeats a change, which locks, reads and saves a file, while it gives EEXIST: a process that
// takes no lock made the file after it was read as missing, and the change has to be made to that
// one. Gives up after a few times. Returns what the change gave last.
template <std::invocable Change>
int RepeatWhileMade(Change change) {
  int error = EEXIST;
  for (int tries = 0; error == EEXIST && tries < 8; ++tries) error = change();
  return error;
}

}  // namespace plist
}  // namespace orvik
