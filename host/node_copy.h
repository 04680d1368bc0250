// Copying one entry of a folder: a regular file, a symbolic link or a special file.
//
// A copy of a file has the content, the mode, the times, the extended attributes, the creation date
// and the immutable flag of its source; a copy of a link has the text and the times. Properties
// that the volume does not support, or that the caller may not set, are left out
// (file_properties.h). If the content cannot be copied completely, the copy fails.
//
// Functions return 0 or an errno. A failure leaves no copy, and an entry under the target's name
// stays.
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
  kKeep,     // EEXIST when the name is taken
  kReplace,  // replaces a file, link or empty folder; EISDIR for other folders
};

enum class Appearance {
  kWhole,   // a complete copy gets its name: readers see the old entry or the new one
  kAtOnce,  // has its name from the start, for folders that no other process uses; needs kKeep
};

// The entries that one copy has made in a folder. A further entry of the same copy must not replace
// them, even when the folder treats its name as the same.
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
  // With the time of the last change, because another process may replace an entry, and a new file
  // may then reuse its inode.
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
  bool special_files = false;   // copy pipes, sockets and devices; otherwise EOPNOTSUPP
  bool flush = false;           // flush the copy and its name to disk
  bool searched = false;        // the folder contains no leftovers of killed processes
  MadeEntries* made = nullptr;  // EEXIST for an entry in it; the copy is added
  Side* side = nullptr;         // receives the side on which an error occurred
  Monitor* monitor = nullptr;   // receives the bytes done
};

// Copies the entry `from_name` of the open folder `from` into the open folder `to`. EISDIR for a
// folder. `type` is the type bits of the entry's mode, or 0 if unknown. Pipes, sockets and devices
// are not opened. EINVAL when the entry to be replaced is the source under another name, or the
// target of the copied link: the copy would be a link to itself.
int CopyNode(int from, const char* from_name, mode_t type, int to, const char* to_name,
             const NodeCopy& how);

// The same into a folder that the caller has just made for the copies of a whole folder. An entry
// that already has exactly this name comes from another process and is replaced. EEXIST when the
// folder treats the name as that of an entry with another spelling.
int CopyIntoNewFolder(int from, const char* name, mode_t type, int to, Side* side,
                      Monitor* monitor);

// The same with two paths; the folder of `to` must exist.
int CopyNode(const std::string& from, const std::string& to, const NodeCopy& how);

// Flushes the names in an open folder (which may be an O_PATH descriptor) to disk. `file` is an
// open file of the same volume, or -1.
int FlushNames(int folder, int file);

// Copies the content of a regular file in the fastest way that the kernel offers.

// The size of the source and its allocated bytes.
struct ContentSize {
  long long size;
  long long allocated;
};

// Copies the content of `source` (open for reading) to the empty file `target` (open for writing):
// by sharing blocks, otherwise by a copy inside the kernel, otherwise through a buffer of at most
// `buffer_size` bytes. Holes stay holes. For a file larger than the buffer, room is reserved before
// the first byte is written, if the file system supports that. If the source shrinks meanwhile, the
// bytes that it still has are copied; a source of size 0 is read to its end, because files in /proc
// have no size. 0 or an errno; after a failure the target is incomplete, and `side` says which file
// failed. The monitor (may be null) receives every byte, copied bytes in pieces of at most 4 MiB,
// holes and shared blocks at once, and may stop the copy (ECANCELED).
int CopyContent(int source, int target, const ContentSize& source_size, std::size_t buffer_size,
                Side* side, Monitor* monitor);

}  // namespace host
}  // namespace orvik
