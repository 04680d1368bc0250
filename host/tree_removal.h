// Removing folders with their content.
//
// Removal works only on open folders, so it never leaves the tree, whatever other processes do to
// it meanwhile: a link itself is removed, and no folder is entered through a link. Removal
// continues after a failure and reports the first one. An entry that vanishes meanwhile counts as
// removed. Entries that appear meanwhile are removed, too, up to a limit of passes. The cost is
// proportional to the size of the tree. Neither the stack, nor the length of paths, nor open
// descriptors limit the depth.
//
// When the monitor (may be null) stops the removal, the result is ECANCELED: the rest stays, and
// folders get their mode and their flags back.
//
// The root folder "/" is refused (EBUSY), and so are "." and ".." as names (EINVAL).
#pragma once

#include <string>

#include "host/descriptor.h"
#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Obstacles are the kernel's immutable and append-only flags, and missing permissions of this
// user's folders. A removal either fails there, or takes the obstacle away. A folder that stays
// gets its mode and its flags back.
enum class Obstacles { kRespect, kOverride };

// Removes everything in the folder, at every depth; the folder itself stays. 0, or the first errno.
// `report` may be null.
int EmptyFolder(const std::string& path, Obstacles obstacles, TreeOutcome* report = nullptr,
                Monitor* monitor = nullptr);
// The same for an open folder.
int EmptyFolder(Descriptor folder, Obstacles obstacles);

// Removes an entry of a folder, and if it is a folder, its content.
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
