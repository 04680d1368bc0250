// Platform objects from and to the values of plist/value.h, which hold everything that is read from
// and written to files.
#pragma once

#include <optional>
#include <string>

#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/property_list.h"
#include "platform/foundation/object.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

// An object for the value, owned by the caller; null for no value. Long strings and data share
// their memory with the value. Dictionaries that were read from XML, and not used yet, make their
// objects on first use. Nothing is shared with other objects that can be changed.
CFTypeRef CreateObject(const plist::Value& value, CFOptionFlags mutability_option);

// The value of an object. Nothing for an object that no property list can hold: null, an object of
// another class, a key that is not a string, containers nested deeper than plist::kMaximumDepth.
// Then `path`, unless null, receives the keys and indices that lead to it, with "/" between them,
// in UTF-8.
std::optional<plist::Value> ValueOfObject(CFTypeRef object, std::string* path = nullptr);

}  // namespace orvik
