// Copies and moves one file or folder, into a trash or elsewhere, and reports the result to the
// caller.
#pragma once

#include <string>

#include "files/directory_path.h"
#include "files/file_path.h"
#include "files/progress.h"
#include "host/long_operation.h"
#include "host/move_file.h"
#include "strings/windows_types.h"

namespace orvik {

// Copying and moving one file or folder, into a trash or elsewhere.

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

// The reports of operations on files or folders, and their progress.

// The monitor of an operation on the path; null without a progress.
host::Monitor* MonitorOf(Progress* progress, const COrvikFilePath& path);

// Adds one failure; `report` may be null.
void AddFailure(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds the result of an operation on one file (0 or an errno) and gives it as a BOOL.
BOOL AddResult(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds the outcome of the work below the folder; `report` may be null.
void AddOutcome(const COrvikDirectoryPath& folder, const host::TreeOutcome& outcome,
                TreeReport* report);

// The names of files in a trash.

// Moves the file into the "files" folder of a trash: under its name when that is free, else under
// "base HH-mm-ss.ext" with the local time, then "base HH-mm-ss-1.ext" and so on. A name that is too
// long for a trash (host/trash.h) loses characters before that, and its extension when that alone
// is too long. A name that another process takes meanwhile is taken: the next one is tried. False
// when the file cannot be moved; `report` (may be null) says why.
bool MoveToTrash(const COrvikFilePath& file, const COrvikDirectoryPath& trash, TreeReport* report,
                 Progress* progress);

}  // namespace orvik
