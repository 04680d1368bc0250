// Emptying a folder. Our own call: what a walk in delete mode does, on descriptors.
#pragma once

#include "platform/carbon/files.h"

namespace orvik {

// Deletes everything in the folder at every depth and stops at the first failure; the folder itself
// stays. Links are removed as links and no folder is entered through one. Locks on what is deleted,
// and on the folders it is deleted from, are taken away. An entry that vanishes meanwhile counts as
// deleted; what appears in a folder meanwhile is deleted too, within reason. The depth is bounded
// neither by the stack, nor by the length of paths, nor by open descriptors. 0, or a status of
// host/errno_status.h.
OSErr FSDeleteFolderContents(const FSRef* folder);

}  // namespace orvik
