// The age of the file or folder at a path.
#pragma once

#include "strings/atl_string.h"

namespace orvik {

// Whole days since the last modification, rounded towards zero; links are followed. 0 when it
// cannot be looked at.
int DaysSinceModification(const CAtlString& path);

}  // namespace orvik
