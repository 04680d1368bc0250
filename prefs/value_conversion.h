// The conversions of the readers: the table at GetPreferenceString (preferences.h).
#pragma once

#include <optional>

#include "plist/value.h"
#include "strings/atl_string.h"

namespace orvik {

// Nothing for no value and for a value that is neither a string nor a number.
std::optional<CAtlString> TextOfValue(const plist::Value& value);
std::optional<int> IntOfValue(const plist::Value& value);

}  // namespace orvik
