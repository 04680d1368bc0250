// What must hold for any bytes that are read as a property list.
#pragma once

#include <string_view>

#include "fuzz/require.h"
#include "platform/core_foundation/property_list_forms.h"

namespace orvik::fuzz {

// The XML form of what nobody has looked at is that of the objects, and is stable once written; the
// binary form gives an equal list back.
inline void CheckPropertyList(std::string_view bytes) {
  const PropertyListReading first = ReadPropertyList(bytes, kCFPropertyListImmutable);
  if (!first.root) return;
  const auto xml = WriteXmlPropertyList(first.root.get());
  const auto binary = WriteBinaryPropertyList(first.root.get());
  Require(binary && xml);
  Require(WriteXmlPropertyList(first.root.get()) == xml);
  const PropertyListReading second = ReadPropertyList(*binary, kCFPropertyListMutableContainers);
  Require(second.root && CFEqual(first.root.get(), second.root.get()));
  const PropertyListReading third =
      ReadPropertyList(*xml, kCFPropertyListMutableContainersAndLeaves);
  Require(third.root != nullptr);
  Require(WriteXmlPropertyList(third.root.get()) == xml);
}

}  // namespace orvik::fuzz
