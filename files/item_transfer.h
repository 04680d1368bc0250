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

// Copies and moves.

// CopyFile of windows_files.h: 0 or an errno, ECANCELED when the monitor stopped it. `side`
// receives the side of an error. `side` and `monitor` may be null.
int CopyItem(const char16_t* source, const char16_t* target, BOOL fail_if_exists, host::Side* side,
             host::Monitor* monitor);

// MoveFile of windows_files.h, with its messages: 0 or an errno.
int MoveItem(const char16_t* source, const char16_t* target, const host::MoveOptions& options);

// Moves the entry at `from` to `to`, which must not exist (EEXIST). Before an entry is moved into
// the "files" folder of a trash, its info file is written (host/trash.h), so that every entry of a
// trash has one; EEXIST also when an info file of that name exists. 0 or an errno.
int MoveItem(const std::string& from, const std::string& to, const host::MoveOptions& options);

// The reports of operations on files or folders, and their progress.

// The monitor of an operation on the path; null when `progress` is null.
host::Monitor* MonitorOf(Progress* progress, const COrvikFilePath& path);

// Adds one failure; `report` may be null.
void AddFailure(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds the result of an operation on one file (0 or an errno) and returns it as a BOOL.
BOOL AddResult(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds the outcome of the work below the folder; `report` may be null.
void AddOutcome(const COrvikDirectoryPath& folder, const host::TreeOutcome& outcome,
                TreeReport* report);

// The names of files in a trash.

// Moves the file into the "files" folder of a trash: under its name if that is unused there, else
// under "base HH-mm-ss.ext" with the local time, then "base HH-mm-ss-1.ext" and so on. A name that
// is too long for a trash (host/trash.h) loses characters before the addition, and its extension if
// that alone is too long. If another process takes a name meanwhile, the next one is tried. False
// when the file cannot be moved; `report` (may be null) gets the reason.
bool MoveToTrash(const COrvikFilePath& file, const COrvikDirectoryPath& trash, TreeReport* report,
                 Progress* progress);

}  // namespace orvik
