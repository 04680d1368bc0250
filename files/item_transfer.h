// Moving a file or folder, into a trash or elsewhere.
#pragma once

#include <string>

namespace orvik {

// Moves what is at `from` to `to`, where nothing may be (EEXIST). Something moved into the "files"
// folder of a trash gets its info file first (host/trash.h), so that nothing lies in a trash
// without one; EEXIST also when another info file has that name. 0 or an errno.
int MoveItem(const std::string& from, const std::string& to);

}  // namespace orvik
