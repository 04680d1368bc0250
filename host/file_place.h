// The place of a file: its folder, held open, and the name in it.
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
  std::string path;  // of the file, with the links at its end followed

  explicit operator bool() const { return error == 0; }
  std::string folder_path() const;
};

enum class Links {
  kAny,      // every symbolic link is followed
  kTrusted,  // links of root and the caller, others where no other user can change the folder;
             // else EPERM
};

// Finds the place of the file that the path leads to. Links at its end are followed, whether or not
// their target exists. The path is absolute or counts from the current folder.
FilePlace FindPlace(const std::string& path, Links links);

// The same, but a link at the end of the path is itself what is found.
FilePlace FindEntry(const std::string& path, Links links);

// The same as FindPlace for a change: links are trusted ones, and missing folders are made. A new
// folder has mode 0777 less the umask; below a folder with the set-group bit that its group may
// write, the group may write the new one, too. One that root makes below another user's folder
// becomes that user's. FlushWay puts their names on disk.
//
// As root, a folder on the way that an unprivileged user could replace by another is logged, once
// in each process.
FilePlace MakePlace(const std::string& path);

// Gives the attributes of what has the name in the place, of a link itself: 0 or an errno.
int StatEntry(const FilePlace& place, struct stat* attributes);

// Removes the entry with the name in the place if its device and inode are those of `known`: 0 or
// an errno, ENOENT for any other entry.
int RemoveEntry(const FilePlace& place, const FileIdentity& known);

// Flushes the names of an open folder (which may be an O_PATH descriptor) and of all folders above
// it on its volume, whichever process made them. 0 or an error number.
int FlushWay(int folder);

// The same for the folder of a place, unless it has the file of its lock, which is made only after
// this call.
int FlushWay(const FilePlace& place);

// Gives a new file or folder what it takes from its folder. `entry` is open; `own` receives its
// attributes as they are afterwards. False when they cannot be had.
//
// - What root makes in another user's folder becomes that user's.
// - In a folder with the set-group bit that its group may write, the group may read and write it,
//   and others may read it if they may read the folder, whatever the umask is.
bool InheritFromFolder(int entry, const struct stat& folder, struct stat* own);

}  // namespace host
}  // namespace orvik
