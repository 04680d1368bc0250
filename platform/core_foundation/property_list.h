// Platform objects from and to the values of plist/value.h, which hold everything that is read from
// and written to files.
#pragma once

#include <optional>
#include <string>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

using CFPropertyListRef = CFTypeRef;

// An object for the value, owned by the caller; null for no value. Arrays and dictionaries share
// the value until their objects are first used; long strings and data share their memory with it.
// Nothing is shared with other objects that can be changed.
CFTypeRef CreateObject(const plist::Value& value, CFOptionFlags mutability_option);

// The value of an object; that of an unused collection is the one that it was made from. Nothing
// for an object that no property list can hold: null, an object of another class, a key that is not
// a string, containers nested deeper than plist::kMaximumDepth. Then `path`, unless null, receives
// the keys and indices that lead to it, with "/" between them, in UTF-8.
std::optional<plist::Value> ValueOfObject(CFTypeRef object, std::string* path = nullptr);

}  // namespace orvik
