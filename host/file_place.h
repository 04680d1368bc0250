// The place of a file: its folder, held open, and its name in the folder.
//
// Every operation on a file through its place works below the open folder, so that no other process
// can replace a folder of the path between two steps.
#pragma once

#include <sys/stat.h>

#include <string>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

struct FilePlace {
  // 0, or the error number of the look-up. ENOENT: a folder on the way does not exist, or a
  // symbolic link has no target whose folder exists.
  int error = 0;
  // The cause of the error: a component of the path, or a link that may not be followed (EPERM).
  std::string obstacle;

  Descriptor folder;
  struct stat folder_attributes = {};
  std::string name;
  std::string path;  // of the file, after following the links at the end

  explicit operator bool() const { return error == 0; }
  std::string folder_path() const;
};

enum class Links {
  kAny,      // every symbolic link is followed
  kTrusted,  // links of root and the caller, others where no other user can change the folder;
             // else EPERM
};

// Finds the place of the file to which the path leads. Follows links at the end of the path,
// whether or not their targets exist. A relative path starts at the current folder.
FilePlace FindPlace(const std::string& path, Links links);

// The same, but does not follow a link at the end of the path: the link itself is the file.
FilePlace FindEntry(const std::string& path, Links links);

// The same as FindPlace for a change: follows trusted links only, and makes missing folders. A new
// folder has mode 0777 less the umask. If its parent has the set-group bit and is writable by its
// group, the new folder is writable by the group, too. A folder that root makes in another user's
// folder gets that user as its owner. The names of new folders are flushed only by FlushWay.
//
// As root, logs every folder on the way that an unprivileged user could replace, once in each
// process.
FilePlace MakePlace(const std::string& path);

// Gives the attributes of the entry at the place, of a link itself: 0 or an errno.
int StatEntry(const FilePlace& place, struct stat* attributes);

// Removes the entry at the place if its device and inode are those of `known`: 0 or an errno,
// ENOENT for any other entry.
int RemoveEntry(const FilePlace& place, const FileIdentity& known);

// Flushes the names of an open folder (which may be an O_PATH descriptor) and of all folders above
// it on its volume, no matter which process made them. 0 or an errno.
int FlushWay(int folder);

// The same for the folder of a place. Does nothing when the folder has a lock file, which is made
// only after this call.
int FlushWay(const FilePlace& place);

// Gives a new file or folder its owner and permissions from its folder. `entry` is open; `own`
// receives its attributes after the change. False when these cannot be read.
//
// - An entry that root makes in another user's folder gets that user as its owner.
// - In a folder with the set-group bit that its group may write, the group may read and write the
//   entry, and others may read it if they may read the folder, whatever the umask is.
bool InheritFromFolder(int entry, const struct stat& folder, struct stat* own);

}  // namespace host
}  // namespace orvik
