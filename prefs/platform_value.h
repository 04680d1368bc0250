// Between platform objects and the values of preference_value.h.
#pragma once

#include <optional>

#include "platform/core_foundation/base.h"
#include "prefs/auto_release.h"
#include "prefs/preference_value.h"

namespace orvik {

// Nothing for null and for an object that no property list holds.
std::optional<PreferenceValue> ValueOfPlatform(CFTypeRef object);

CAutoCFRelease<CFTypeRef> PlatformOf(const PreferenceValue& value);

}  // namespace orvik
