// The test that every walk along a key path makes.
#pragma once

#include "platform/core_foundation/base.h"
#include "strings/platform_reference.h"

namespace [[gnu::visibility("default")]] orvik {

// Whether a property-list value is a dictionary; false for null.
bool IsADictionaryType(CFTypeRef value);
template <NoReferenceFor<CFTypeRef> Value>
bool IsADictionaryType(const Value&) = delete;  // use a platform object

}  // namespace orvik
