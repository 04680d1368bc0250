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

// An object for the value, owned by the caller; null for no value. A dictionary shares the value
// until its entries are first used; long strings and data share their memory with it. Nothing is
// shared with other objects that can be changed.
CFTypeRef CreateObject(const plist::Value& value, CFOptionFlags mutability_option);

// The value of an object; that of an unused dictionary is the one that it was made from. Nothing
// for an object that no property list can hold: null, an object of another class, a key that is not
// a string, containers nested deeper than plist::kMaximumDepth. Then `path`, unless null, receives
// the keys and indices that lead to it, with "/" between them, in UTF-8.
std::optional<plist::Value> ValueOfObject(CFTypeRef object, std::string* path = nullptr);

}  // namespace orvik
