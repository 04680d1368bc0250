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

// The copies of those files of a tree that have several names.
class HardLinks {
 public:
  // `top` is the open folder of the copy; it must stay open.
  explicit HardLinks(int top) : top_(top) {}

  // Hard-links `name`, which must not exist, to the copy already made of this inode. False when
  // there is no such copy or the link fails; then the file is to be copied.
  bool Link(const struct stat& source, int folder, const char* name);

  // Notes a copy. `path` is its path from the top.
  void Note(const struct stat& source, std::string path, int folder, const char* name);

 private:
  struct Copy {
    std::string path;
    dev_t device;
    ino_t inode;
    nlink_t names_left;
  };
  int top_;
  std::map<std::pair<dev_t, ino_t>, Copy> copies_;  // by the source
};

// Moving files and folders.

struct MoveOptions {
  // Those of a tree that is moved entry by entry: a further name of a file that was copied to
  // another mount becomes a further name there.
  HardLinks* links = nullptr;
  std::string_view folder = {};  // the path of the target folder from the top, with "/" at its end
  Side* side = nullptr;          // receives where an error is
  Monitor* monitor = nullptr;    // of a copy to another volume; not of the removal that follows
};

// Moves a file, link, folder or special file to a path where nothing is: 0, or an errno (EEXIST
// when something is there; it is never replaced). Links are moved as links.
//
// To another volume it is copied with mode, owner, times, extended attributes and, within a folder,
// hard links (node_copy.h says what may be left out), flushed to disk, given its name, and the
// source is then removed. Under the name is all of it or nothing, at every moment and after a
// crash; until it has the name the copy of a folder is called ".<name>.orvik-<n>" (staged_file.h),
// and what a killed process has left of it goes with the next move to the same name. A copy that
// fails is taken back. The depth of a tree is bounded neither by the stack nor by open descriptors.
// When the source cannot be removed wholly, the complete copy and what is left of the source stay,
// and the result says why. A folder does not go into itself (EINVAL).
int MoveWithoutReplacing(const std::string& from, const std::string& to,
                         const MoveOptions& options = {});

// Renames an entry of an open folder: 0, or an errno, EXDEV when the target is on another volume.
// The monitor is told the bytes of a renamed file.
int RenameEntry(int from, const char* from_name, int to, const char* to_name,
                const MoveOptions& options);

// Copies to the target, then removes the source, for any two volumes. The form with paths first
// flushes the names of the target's folders; callers of the form with open folders do that
// themselves (FlushWay).
int CopyThenRemove(int from, const char* from_name, int to, const char* to_name,
                   const MoveOptions& options);
int CopyThenRemove(const std::string& from, const std::string& to, const MoveOptions& options = {});

}  // namespace host
}  // namespace orvik
