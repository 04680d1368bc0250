// Whether one folder lies in another.
#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <utility>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Whether the folder at `path`, which need not exist, is the folder at `folder` or lies in it.
// Takes links, other names of the folder and mounts into account: the result is also true when the
// folder is reached below `folder` through another mount (mount --bind). Paths may have any length.
// A ".." after a missing component removes that component. Also true when the answer cannot be
// found out.
bool LiesInFolder(const std::string& path, const std::string& folder);

// The same for two open folders, which may be O_PATH descriptors.
bool LiesInFolder(int inner, int outer);

// Device and inode, which identify a folder.
using FolderIdentity = std::pair<dev_t, ino_t>;

// The identities of an open folder and of all folders above it; empty when they cannot be read.
std::set<FolderIdentity> FoldersAbove(int open_folder);

}  // namespace host
}  // namespace orvik
