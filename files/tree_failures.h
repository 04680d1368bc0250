// Filling the report of an operation on files or folders.
#pragma once

#include "files/directory_path.h"
#include "files/tree_report.h"
#include "host/tree_outcome.h"

namespace orvik {

// Adds one failure; `report` may be null.
void AddFailure(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds the result of an operation on one file (0 or an errno) and gives it as a BOOL.
BOOL AddResult(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds what was done below the folder; `report` may be null.
void AddOutcome(const COrvikDirectoryPath& folder, const host::TreeOutcome& outcome,
                TreeReport* report);

}  // namespace orvik
