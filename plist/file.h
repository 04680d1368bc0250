// A property-list file whose root is a dictionary: found once, locked, read once, and replaced as a
// whole. Preferences and the stores above the platform use this class.
//
//   plist::File file(path);
//   if (int error = file.Lock(File::Folder::kMake)) return error;      // a change; else only Read
//   if (file.Read() == File::Contents::kUnreadable) return file.error();
//   if (file.contents() == File::Contents::kDamaged) file.KeepAside();
//   return file.Save(changed(file.root()));
//
// The replacement is atomic, even across a crash; a reader without the lock sees the old or the new
// file. The new file keeps the mode, owner and extended attributes of the old one
// (host/replace_file.h).
//
// Errors are errno values. Only ENOENT means that the file is missing. Every other obstacle (a file
// in place of a folder, a loop of links, a socket, ESTALE from a network volume, no permission)
// makes the file unreadable. So does EFBIG: the file is longer than kMaximumFileSize, or a binary
// list is too large with its shared objects written out (forms.h). Reading creates no files or
// folders.
//
// A change follows symbolic links of root and the caller, and others in a folder that no other user
// can change. Any other link is EPERM with its path in obstacle(), and is logged. Without a change
// all links are followed.
//
// Use an object for one operation on one thread.
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
// "/" in the domain leads into a subfolder. "" for a domain that cannot name a file of its own: one
// that is empty, has more than kMaximumDomainBytes bytes of UTF-8, contains NUL, "\" or a lone
// surrogate, begins or ends with "/", or has an empty, "." or ".." component or one of more than
// 243 bytes (248 with the ending ".lock", so that the lock record of every domain has a name).
std::string PreferenceFile(PreferenceFolder folder, std::u16string_view domain);
inline constexpr std::size_t kMaximumDomainBytes = 1023;

// Lists the files that this thread has kept aside and replaced during the object's life, for
// callers of functions that do not report them. Objects may be nested.
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

// The function that waits 20 ms between two reads of a file that may still be written. Tests set
// another function; the call returns the previous one.
using FileWriterWait = std::function<void()>;
FileWriterWait ExchangeFileWriterWait(FileWriterWait wait);

class File {
 public:
  enum class Contents {
    kMissing,
    kUnreadable,
    kDamaged,        // not a property list
    kNotDictionary,  // a property list whose root is not a dictionary
    kEntries,
  };

  enum class Saving { kWhole, kInPlace };

  // "" is a file without a path: it is missing, and changing it is EINVAL. With Saving::kInPlace, a
  // change does not follow a link under the file's name (ELOOP).
  explicit File(std::string path, host::Flush flush = host::Flush::kToDisk,
                Saving saving = Saving::kWhole);
  // Puts a file that was kept aside back, unless the new file was saved.
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const std::string& path() const { return path_; }

  // Opens the file's folder for a change and locks it until the object ends, so that no other user
  // of this class changes a file of the folder (host/file_lock.h). Call Read afterwards. ENOENT:
  // the folder is missing, and `folder` is kFind. EWOULDBLOCK: another process or thread holds the
  // lock for the whole wait.
  enum class Folder { kFind, kMake };
  int Lock(Folder folder, int milliseconds = kLockMilliseconds);
  void Unlock() { lock_ = {}; }
  bool is_locked() const { return lock_.held(); }
  // Whether Lock failed because the lock file, whose path is obstacle(), may not be used.
  bool is_lock_refused() const { return lock_.error() == EINVAL && *lock_.obstacle() != '\0'; }

  // Finds the place of the file as for a change, but does not lock it: 0 or an errno. Read then
  // uses that place.
  int Find();

  // Reads and parses the file. Under the lock it also locks the file's content, if the caller may
  // write the file (EWOULDBLOCK: another process holds that lock for the rest of the wait). A
  // damaged file that was changed less than a second ago may be one that an editor or a copy is
  // still writing in place: under the lock it is read again after every change, until it is valid
  // or has not changed for a second, for at most five seconds.
  Contents Read();
  // The result of the last Read.
  Contents contents() const { return contents_; }
  int error() const { return error_; }           // the reason for kUnreadable
  const Value& root() const { return root_; }    // no value unless the file is a property list
  const Bytes& bytes() const { return bytes_; }  // null if they could not be read
  // The identity of the file after Read or Save.
  const host::FileIdentity& identity() const { return opened_.identity; }
  const host::OpenedFile& opened() const { return opened_; }
  const host::FilePlace& place() const { return place_; }
  bool has_place() const { return has_place_; }  // Lock or Find has looked for it

  // The path at which Lock or Read failed, if that is not the file's own path; "" otherwise.
  const std::string& obstacle() const { return place_.obstacle; }

  // Keeps a damaged file, or a list that is not a dictionary, beside its place, so that Save can
  // replace it (host/keep_beside.h). An unreadable file is kept only if the caller has no
  // permission to read it. After any other error the file may become readable again, so KeepAside
  // returns that error.
  int KeepAside();
  // The path of the kept file.
  const std::string& kept_path() const { return kept_.path; }

  // Replaces the content of the file by the property list as XML. EINVAL when the list cannot be
  // written as XML, EFBIG when the result would be too large to be read again, EEXIST when Read
  // found no file and there is one now (RepeatWhileMade). A file that already has these bytes is
  // only flushed to disk. Requires Lock and Read.
  int Save(const Value& root);
  // The same, but writes into the existing file, padded with line feeds to its present size, so
  // that it needs no more room. A file that is missing, too short, damaged or not a dictionary is
  // replaced.
  int SaveInPlace(const Value& root);
  bool wrote() const { return wrote_; }

  // Flushes the file that Read found, and its name, to disk.
  int Flush();

  // Removes the file if it still has this identity (device and inode).
  int Remove(const host::FileIdentity& known);

  // Longer than any queue of changes takes. A stopped holder must not stop all other processes.
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
  bool has_place_ = false;  // set by FindForChange unless a folder is missing
  host::FolderLock lock_;
  std::chrono::steady_clock::time_point lock_deadline_;
  host::OpenedFile opened_;
  bool is_writable_ = false;  // opened for reading and writing
  host::KeptFile kept_;
  bool wrote_ = false;
  Contents contents_ = Contents::kMissing;
  int error_ = 0;
  Bytes bytes_;
  Value root_;
};

// Repeats a change, which locks, reads and saves a file, as long as its result is EEXIST: a process
// without the lock made the file after it was read as missing, so the change must be made to that
// file. Gives up after a few times. Returns the last result of the change.
template <std::invocable Change>
int RepeatWhileMade(Change change) {
  int error = EEXIST;
  for (int tries = 0; error == EEXIST && tries < 8; ++tries) error = change();
  return error;
}

}  // namespace plist
}  // namespace orvik
