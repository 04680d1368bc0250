// Copying a folder with all that it holds, exactly: as a move to another volume does.
#pragma once

#include "host/monitor.h"
#include "host/tree_outcome.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Copies the entries of the folder `from_name` in the open folder `from` into the open empty folder
// `to`, which nobody else uses, with the owners (node_copy.h). Files of several names within the
// tree keep them. In the end `to` has the properties of the source. The first failure ends it: 0 or
// an errno, and `side` says where the error is. The depth is bounded neither by the stack nor by
// open descriptors.
int CopyTree(int from, const char* from_name, int to, Side* side, Monitor* monitor);

}  // namespace host
}  // namespace orvik
