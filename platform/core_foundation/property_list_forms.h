// The three forms of a property list, one function for each that can be read or written.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core_foundation/property_list_builder.h"

namespace orvik {

inline PropertyListInteger IntegerOf(const NSNumber& number) {
  return {number.bits(), number.kind() == NSNumber::Kind::kUnsigned};
}

// What was read, or null with the reason.
struct PropertyListReading {
  OwnedObject root;
  CFPropertyListFormat format = 0;
  std::string error;
};

// Finds out the form by itself.
PropertyListReading ReadPropertyList(std::string_view bytes, CFOptionFlags mutability_option);

// The text in UTF-8 without NUL characters; it is taken apart in place.
PropertyListReading ReadXmlPropertyList(std::string text, CFOptionFlags mutability_option);

PropertyListReading ReadBinaryPropertyList(std::string_view bytes, CFOptionFlags mutability_option);

// The text in UTF-8.
PropertyListReading ReadTextPropertyList(std::string_view text, CFOptionFlags mutability_option);

// Nothing when the object is no property list or too deep.
std::optional<std::string> WriteXmlPropertyList(const NSObject* property_list);
std::optional<std::string> WriteBinaryPropertyList(const NSObject* property_list);

}  // namespace orvik
