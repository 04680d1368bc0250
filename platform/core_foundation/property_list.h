// Property lists: trees of strings, numbers, booleans, dates, data, arrays and dictionaries with
// string keys, in their XML, binary and old text forms; and their objects from and to the values of
// plist/value.h, which hold everything that is read from and written to files.
//
// Bytes that do not hold a property list, and objects that no property list can hold, give null:
// nothing is read or written in part. The error text of textual forms names line and column.
//
// plist/forms.h says what the forms are and which limits hold. A dictionary that was read from XML
// makes its entries when they are first used. Several threads may read one list.
#pragma once

#include <optional>
#include <string>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

using CFPropertyListRef = CFTypeRef;

using CFPropertyListFormat = CFIndex;
inline constexpr CFPropertyListFormat kCFPropertyListXMLFormat_v1_0 = 100;
inline constexpr CFPropertyListFormat kCFPropertyListBinaryFormat_v1_0 = 200;

// The property list that the bytes hold, in whichever form, owned by the caller; null when they
// hold none. error_string, unless null, receives null on success and on failure a text that the
// caller owns.
CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xml_data,
                                                  CFOptionFlags mutability_option,
                                                  CFStringRef* error_string);

// The XML form (version 1.0, UTF-8, tabs, dictionaries in the order of their keys' UTF-16 units),
// owned by the caller; null when the object is no property list, or too large for one. Reals are
// written with as few digits as give the same double back.
CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef property_list);

// Whether the object can be written in the format.
Boolean CFPropertyListIsValid(CFPropertyListRef property_list, CFPropertyListFormat format);

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
