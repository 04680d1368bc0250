// Whether one folder lies in another.
#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <utility>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Whether the folder at `path`, which need not exist, is the one at `folder` or would lie in it.
// Links, other names of the same folder and mounts are taken into account: the answer is true, too,
// when the folder is reached below `folder` through another mount (mount --bind). Paths may be of
// any length. ".." of what does not exist is taken away with the component before it. Also true
// when the answer is unknown.
bool LiesInFolder(const std::string& path, const std::string& folder);

// The same for two open folders, which may be O_PATH descriptors.
bool LiesInFolder(int inner, int outer);

// Device and inode, which identify a folder.
using FolderIdentity = std::pair<dev_t, ino_t>;

// The identities of an open folder and of all folders above it; empty when they cannot be read.
std::set<FolderIdentity> FoldersAbove(int open_folder);

}  // namespace host
}  // namespace orvik
