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
  // The list is sound, but larger than kPropertyListMaximumFileSize with its shared objects written
  // out.
  bool is_too_large = false;
};

// Finds out the form by itself. The data object (null for none) lives on as long as a dictionary
// that was read from it and not looked at; bytes are copied into one.
PropertyListReading ReadPropertyList(const NSData* data, CFOptionFlags mutability_option);
PropertyListReading ReadPropertyList(std::string_view bytes, CFOptionFlags mutability_option);

PropertyListReading ReadBinaryPropertyList(std::string_view bytes, CFOptionFlags mutability_option);

// The text in UTF-8.
PropertyListReading ReadTextPropertyList(std::string_view text, CFOptionFlags mutability_option);

inline constexpr std::string_view kPropertyListTooLarge =
    "The property list is too large: written out it has more than 512 MiB";
static_assert(kPropertyListMaximumFileSize == std::size_t{512} << 20);

// Why and where an object cannot be written.
struct PropertyListFailure {
  // The bytes would be more than the limit; otherwise the object is no property list or too deep.
  bool is_too_large = false;
  // The keys and indices that lead to the value, with "/" between them, in UTF-8.
  std::string path;
};

// Nothing when the object cannot be written. Then `failure`, unless null, says why. The memory used
// is at most a small multiple of the limit, however large the result would be.
std::optional<std::string> WriteXmlPropertyList(const NSObject* property_list,
                                                PropertyListFailure* failure = nullptr,
                                                std::size_t limit = kPropertyListMaximumFileSize);
std::optional<std::string> WriteBinaryPropertyList(
    const NSObject* property_list, PropertyListFailure* failure = nullptr,
    std::size_t limit = kPropertyListMaximumFileSize);

}  // namespace orvik
