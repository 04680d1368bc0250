// Emptying a folder. Our own call: what a walk in delete mode does, on descriptors.
#pragma once

#include "platform/carbon/files.h"

namespace [[gnu::visibility("default")]] orvik {

// Deletes everything in the folder as host/tree_removal.h tells, with the locks on what is deleted
// and on the folders it is deleted from, and from folders of this user that are read-only; the
// folder itself stays. 0, or a status of host/errno_status.h.
OSErr FSDeleteFolderContents(const FSRef* folder);

}  // namespace orvik
