// Copying one entry of a folder: a regular file, a symbolic link or a special file.
//
// A copy has the content, the mode, the times, the extended attributes, the
// creation date and the kernel's lock of its source; a link has the text and the times. What the
// volume cannot keep, or the rights do not allow, is left out (file_properties.h); content that
// cannot be written whole fails the copy.
//
// Functions return 0 or an errno. A failure leaves no copy, and what was under the name stays.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <mutex>
#include <set>
#include <string>
#include <tuple>

#include "host/file_properties.h"
#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

enum class Existing {
  kKeep,     // EEXIST when anything has the name
  kReplace,  // a file, link or empty folder of the name; EISDIR for another folder
};

enum class Appearance {
  kWhole,   // the copy gets its name when it is whole: readers see the old entry or the new
  kAtOnce,  // under its name from the start, in a folder that no other process uses; needs kKeep
};

// The entries that one copy has made in a folder: a further entry of the copy must not replace
// them, even when the folder takes its name for theirs.
class MadeEntries {
 public:
  void Add(const struct stat& entry) {
    const std::lock_guard guard(guard_);
    entries_.insert(IdentityOf(entry));
  }
  bool Has(const struct stat& entry) const {
    const std::lock_guard guard(guard_);
    return entries_.contains(IdentityOf(entry));
  }

 private:
  // With the time of the last change: another process may replace an entry, and a third file then
  // get its inode.
  using Identity = std::tuple<dev_t, ino_t, time_t, long>;
  static Identity IdentityOf(const struct stat& entry) {
    return {entry.st_dev, entry.st_ino, entry.st_ctim.tv_sec, entry.st_ctim.tv_nsec};
  }

  mutable std::mutex guard_;
  std::set<Identity> entries_;
};

struct NodeCopy {
  Owner owner = Owner::kMaker;
  Existing existing = Existing::kKeep;
  Appearance appearance = Appearance::kWhole;
  bool special_files = false;   // pipes, sockets, devices; else they are EOPNOTSUPP
  bool flush = false;           // copy and name are on disk before the call returns
  bool searched = false;        // the folder has nothing that a killed process left
  MadeEntries* made = nullptr;  // EEXIST for one of these; the copy is added
  Side* side = nullptr;         // receives where an error is
  Monitor* monitor = nullptr;   // is told the bytes
};

// Copies the entry `from_name` of the open folder `from` into the open folder `to`. A folder is
// EISDIR. `type`, where the caller knows it, is the type bits of the entry's mode, else 0. No pipe,
// socket or device is opened. EINVAL when the entry to be replaced is the source under another
// name, or what a link leads to: the copy would be a link to itself.
int CopyNode(int from, const char* from_name, mode_t type, int to, const char* to_name,
             const NodeCopy& how);

// The same into a folder that the caller has just made for the copies of a whole folder. An entry
// of exactly this name is then another process's and is replaced; EEXIST when the name leads to an
// entry that is spelled otherwise.
int CopyIntoNewFolder(int from, const char* name, mode_t type, int to, Side* side,
                      Monitor* monitor);

// The same with two paths; the folder of `to` must exist.
int CopyNode(const std::string& from, const std::string& to, const NodeCopy& how);

// Puts the names in an open folder (which may be an O_PATH descriptor) on disk. `file` is an open
// file of the same volume, or -1.
int FlushNames(int folder, int file);

// Copying the content of a regular file in whatever way the kernel does it fastest.

// The size of the source and its allocated bytes.
struct ContentSize {
  long long size;
  long long allocated;
};

// Copies everything in `source` (open for reading) to the empty file `target` (open for writing):
// by sharing the blocks, else by a copy inside the kernel, else through a buffer of at most
// `buffer_size` bytes. Holes stay holes; the room for a file of more than one buffer is reserved
// before the first byte is written, where the file system can. A source that shrinks meanwhile
// gives what it still had; one of size 0 is read to its end, because files of /proc have no size.
// 0 or an errno; the target is then incomplete, and `side` says which of the two failed. The
// monitor (may be null) is told every byte, holes too, in pieces of at most 4 MiB, and may stop the
// copy (ECANCELED).
int CopyContent(int source, int target, const ContentSize& source_size, std::size_t buffer_size,
                Side* side, Monitor* monitor);

}  // namespace host
}  // namespace orvik
