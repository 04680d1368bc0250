// The test that every walk along a key path makes.
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

// Whether a property-list value is a dictionary; false for null.
bool IsADictionaryType(CFTypeRef value);

}  // namespace orvik
