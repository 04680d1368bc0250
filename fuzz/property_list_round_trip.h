// What must hold for any bytes that are read as a property list.
#pragma once

#include <cstdlib>
#include <string_view>

#include "platform/core_foundation/property_list_forms.h"

namespace orvik::fuzz {

inline void Require(bool holds) {
  if (!holds) abort();
}

// The binary form gives an equal list back; the XML form is stable once written. (A list of dates
// that XML cannot write has none.)
inline void CheckPropertyList(std::string_view bytes) {
  const PropertyListReading first = ReadPropertyList(bytes, kCFPropertyListImmutable);
  if (!first.root) return;
  const auto binary = WriteBinaryPropertyList(first.root.get());
  Require(binary.has_value());
  const PropertyListReading second = ReadPropertyList(*binary, kCFPropertyListMutableContainers);
  Require(second.root && CFEqual(first.root.get(), second.root.get()));
  const auto xml = WriteXmlPropertyList(first.root.get());
  if (!xml) return;
  const PropertyListReading third =
      ReadPropertyList(*xml, kCFPropertyListMutableContainersAndLeaves);
  Require(third.root != nullptr);
  Require(WriteXmlPropertyList(third.root.get()) == xml);
}

}  // namespace orvik::fuzz
