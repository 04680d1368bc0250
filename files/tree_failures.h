// What an operation on files or folders tells its caller: filling reports, and progress.
#pragma once

#include "files/directory_path.h"
#include "files/progress.h"
#include "files/tree_report.h"
#include "host/monitor.h"
#include "host/tree_outcome.h"

namespace orvik {

// What watches an operation on the path; null without a progress.
host::Monitor* MonitorOf(Progress* progress, const COrvikFilePath& path);

// Adds one failure; `report` may be null.
void AddFailure(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds the result of an operation on one file (0 or an errno) and gives it as a BOOL.
BOOL AddResult(const COrvikFilePath& path, int error, host::Side side, TreeReport* report);

// Adds what was done below the folder; `report` may be null.
void AddOutcome(const COrvikDirectoryPath& folder, const host::TreeOutcome& outcome,
                TreeReport* report);

}  // namespace orvik
