// Second names of files, which a copy of a tree keeps.
#pragma once

#include <sys/stat.h>

#include <map>
#include <string>
#include <utility>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The copies of those files of a tree that have several names.
class HardLinks {
 public:
  // `top` is the open folder of the copy; it must stay open.
  explicit HardLinks(int top) : top_(top) {}

  // Gives the name, which nothing has, to the copy of a file of which another name was copied
  // before. False when there is none or it cannot be done; then the file is to be copied.
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

}  // namespace host
}  // namespace orvik
