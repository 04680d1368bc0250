// The conversions of the readers, as the table at GetPreferenceString has them.
#pragma once

#include <optional>

#include "platform/core_foundation/base.h"
#include "strings/atl_string.h"

namespace orvik {

// Nothing for null and for a value that is neither a string nor a number.
std::optional<CAtlString> TextOfValue(CFTypeRef value);
std::optional<int> IntOfValue(CFTypeRef value);

}  // namespace orvik
