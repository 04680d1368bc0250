// The names of files in a trash.
#pragma once

#include "files/directory_path.h"
#include "files/file_path.h"
#include "files/progress.h"
#include "files/tree_report.h"

namespace orvik {

// Moves the file into the "files" folder of a trash: under its name when that is free, else under
// "base HH-mm-ss.ext" with the local time, then "base HH-mm-ss-1.ext" and so on. A name that is too
// long for a trash (host/trash.h) loses characters before that, and its extension when that alone
// is too long. A name that another process takes meanwhile is taken: the next one is tried. False
// when the file cannot be moved; `report` (may be null) says why.
bool MoveToTrash(const COrvikFilePath& file, const COrvikDirectoryPath& trash, TreeReport* report,
                 Progress* progress);

}  // namespace orvik
