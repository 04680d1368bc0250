// Removing folders with all they hold.
//
// Removal works on open folders alone, so that it never leaves the tree, whatever others do to it
// meanwhile: links are removed as links, and no folder is entered through one. It goes on after a
// failure and reports the first. An entry that vanishes meanwhile counts as removed; what appears
// in a folder meanwhile is removed too, within reason. The cost is that of the tree's size. The
// depth is bounded neither by the stack, nor by the length of paths, nor by open descriptors.
//
// A monitor (may be null) that says stop ends the removal with ECANCELED: the rest stays, and
// folders get back their mode and their locks.
//
// The root folder "/" is refused (EBUSY), and so are "." and ".." as names (EINVAL).
#pragma once

#include <string>

#include "host/descriptor.h"
#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The treatment of the kernel's locks (immutable, append-only), and of folders of this user without
// permission to write or read: a removal fails there, or takes the obstacle away. A folder that
// stays gets its mode and its locks back.
enum class Obstacles { kRespect, kOverride };

// Removes everything in the folder at every depth; the folder stays. 0, or the first errno.
// `report` may be null.
int EmptyFolder(const std::string& path, Obstacles obstacles, TreeOutcome* report = nullptr,
                Monitor* monitor = nullptr);
// The same for an open folder.
int EmptyFolder(Descriptor folder, Obstacles obstacles);

// Removes the entry of a folder, with all that it holds when it is one.
int RemoveTree(int folder, const char* name, Obstacles obstacles, TreeOutcome* report = nullptr,
               Monitor* monitor = nullptr);
int RemoveTree(const std::string& path, Obstacles obstacles, TreeOutcome* report = nullptr,
               Monitor* monitor = nullptr);

// Removes one entry; EISDIR or EPERM for a folder.
int RemoveFile(int folder, const char* name, Obstacles obstacles);
int RemoveFile(const std::string& path, Obstacles obstacles);

// Whether the open folder is the root folder "/".
bool IsRootFolder(int folder);

}  // namespace host
}  // namespace orvik
