// How differences are shown.
#pragma once

#include <vector>

#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/json_writer.h"

namespace orvik::prefstool {

// Each line shows the kind ("+", "-", "~"), the path, types and values; JSON is one array. With
// Context::hide_values the values are left out.
void PrintDifferences(const Context& context, const std::vector<Difference>& differences);

// {"change": "added", "path": [...], "before": ..., "after": ...}
void WriteDifference(JsonWriter& writer, const Difference& difference, bool hide_values = false);

}  // namespace orvik::prefstool
