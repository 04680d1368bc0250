// Removing folders with all they hold.
#pragma once

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// What becomes of the kernel's locks (immutable, append-only), and of folders of this user that he
// may not write or read: a removal that meets one fails, or takes it away.
enum class Obstacles { kRespect, kTakeAway };

// Opens a folder for EmptyFolder, never through a link; empty, with errno set, on failure.
Descriptor OpenFolderToRemove(int folder, const char* name, Obstacles obstacles);

// Removes everything in the folder at every depth and stops at the first failure: 0 or an error
// number. Links are removed as links and no folder is entered through one. An entry that vanishes
// meanwhile counts as removed; what appears in a folder meanwhile is removed too, within reason.
// The depth is bounded neither by the stack, nor by the length of paths, nor by open descriptors.
int EmptyFolder(Descriptor folder, Obstacles obstacles);

// The same with what has the name in the folder, whatever it is.
int RemoveTree(int folder, const char* name, Obstacles obstacles);

}  // namespace host
}  // namespace orvik
