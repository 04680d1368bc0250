// The open folders on the way down a tree, however deep it is.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <utility>
#include <vector>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Only the innermost folders are kept open. One further up is given back, and opened again through
// ".." on the way up, where it must still be the folder that it was (ENOENT when it is not). The
// functions that can fail return an errno, or 0.
class FolderChain {
 public:
  // Goes down into a folder, which the caller opened. A folder that was entered through a link has
  // another one above it: then the present one is kept open.
  int Enter(Descriptor folder, bool through_link = false);

  // Goes back up to the folder above.
  int Leave();

  std::size_t depth() const { return levels_.size(); }

  // The innermost folder.
  int folder() const { return levels_.back().folder.get(); }

  // The identity of the innermost folder.
  std::pair<dev_t, ino_t> identity() const { return {levels_.back().device, levels_.back().inode}; }

  // The folder above the innermost one, opened again when it had been given back.
  int OpenAbove(int* folder);

 private:
  struct Level {
    Descriptor folder;  // empty while it is given back
    dev_t device;
    ino_t inode;
    bool is_kept_open = false;
  };
  std::vector<Level> levels_;
};

}  // namespace host
}  // namespace orvik
