// The three forms of a property list, one function for each that can be read or written.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core_foundation/property_list_builder.h"

namespace orvik {

// What was read, or null with the reason.
struct PropertyListReading {
  OwnedObject root;
  CFPropertyListFormat format = 0;
  std::string error;
};

// Finds out the form by itself. The data object (null for none) lives on as long as a dictionary
// that was read from it and not looked at; bytes are copied into one.
PropertyListReading ReadPropertyList(const NSData* data, CFOptionFlags mutability_option);
PropertyListReading ReadPropertyList(std::string_view bytes, CFOptionFlags mutability_option);

PropertyListReading ReadBinaryPropertyList(std::string_view bytes, CFOptionFlags mutability_option);

// The text in UTF-8.
PropertyListReading ReadTextPropertyList(std::string_view text, CFOptionFlags mutability_option);

// Nothing when the object is no property list or too deep. Then `failed_at`, unless null, receives
// the keys and indices that lead to the value, with "/" between them, in UTF-8.
std::optional<std::string> WriteXmlPropertyList(const NSObject* property_list,
                                                std::string* failed_at = nullptr);
std::optional<std::string> WriteBinaryPropertyList(const NSObject* property_list,
                                                   std::string* failed_at = nullptr);

}  // namespace orvik
