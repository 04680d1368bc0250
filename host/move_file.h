// Moving files and folders.
#pragma once

#include <sys/stat.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The copies of the files of a tree that have several names.
class HardLinks {
 public:
  // `top` is the open folder of the copy; it must stay open.
  explicit HardLinks(int top) : top_(top) {}

  // Hard-links `name`, which must not exist, to the copy already made of this inode. False when
  // there is no such copy or the link fails; then copy the file.
  bool Link(const struct stat& source, int folder, const char* name);

  // Records a copy. `path` is its path from the top.
  void Note(const struct stat& source, std::string path, int folder, const char* name);

 private:
  struct Copy {
    std::string path;
    dev_t device;
    ino_t inode;
    nlink_t names_left;
  };
  int top_;
  std::map<std::pair<dev_t, ino_t>, Copy> copies_;  // by device and inode of the source
};

// Moving files and folders.

struct MoveOptions {
  // For a tree that is moved entry by entry to another volume: a hard link within the tree becomes
  // a hard link within the copy.
  HardLinks* links = nullptr;
  std::string_view folder = {};  // the path of the target folder from the top, with "/" at its end
  Side* side = nullptr;          // receives the side on which an error occurred
  Monitor* monitor = nullptr;    // for a copy to another volume; not for the removal after it
};

// Moves a file, link, folder or special file to a path that must not exist: 0, or an errno (EEXIST
// when an entry exists there, which is never replaced). Moves a link itself, not its target.
//
// A move to another volume copies the entry with mode, owner, times, extended attributes and,
// within a folder, hard links (node_copy.h says what may be left out), flushes the copy to disk,
// gives it its name, and then removes the source. The copy appears under its name atomically, even
// across a crash. Until then the copy of a folder is called ".<name>.orvik-<n>" (staged_file.h);
// the next move to the same name removes the copy of a killed process. A copy that fails is
// removed. Neither the stack nor open descriptors limit the depth of a tree. If the source cannot
// be removed completely, the complete copy and the rest of the source stay, and the result is the
// error. EINVAL when a folder would be moved into itself.
int MoveWithoutReplacing(const std::string& from, const std::string& to,
                         const MoveOptions& options = {});

// Renames an entry of an open folder: 0, or an errno, EXDEV when the target is on another volume.
// Tells the monitor the size of a renamed file.
int RenameEntry(int from, const char* from_name, int to, const char* to_name,
                const MoveOptions& options);

// Copies to the target, then removes the source, on any two volumes. The form with paths first
// flushes the names of the target's folders; callers of the form with open folders must do that
// themselves (FlushWay).
int CopyThenRemove(int from, const char* from_name, int to, const char* to_name,
                   const MoveOptions& options);
int CopyThenRemove(const std::string& from, const std::string& to, const MoveOptions& options = {});

}  // namespace host
}  // namespace orvik
