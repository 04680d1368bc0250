// Copying and moving one file or folder, into a trash or elsewhere.
#pragma once

#include <string>

#include "host/move_file.h"
#include "host/tree_outcome.h"
#include "strings/windows_types.h"

namespace orvik {

// CopyFile of windows_files.h: 0 or an errno, ECANCELED when the monitor said stop. `side` receives
// where an error is. Both may be null.
int CopyItem(const char16_t* source, const char16_t* target, BOOL fail_if_exists, host::Side* side,
             host::Monitor* monitor);

// MoveFile of windows_files.h, with its messages: 0 or an errno.
int MoveItem(const char16_t* source, const char16_t* target, const host::MoveOptions& options);

// Moves what is at `from` to `to`, where nothing may be (EEXIST). Something moved into the "files"
// folder of a trash gets its info file first (host/trash.h), so that nothing lies in a trash
// without one; EEXIST also when another info file has that name. 0 or an errno.
int MoveItem(const std::string& from, const std::string& to, const host::MoveOptions& options);

}  // namespace orvik
