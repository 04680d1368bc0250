// The rules that hold for any bytes that are read as a property list.
#pragma once

#include <string_view>

#include "fuzz/require.h"
#include "plist/forms.h"

namespace orvik::fuzz {

// The XML form of entries that nobody used yet is that of the values, and is stable once written;
// the binary form gives an equal list back.
inline void CheckPropertyList(std::string_view bytes) {
  const plist::Reading first = plist::Read(bytes);
  if (!first.root) return;
  const auto xml = plist::WriteXml(first.root);
  const auto binary = plist::WriteBinary(first.root);
  Require(binary && xml);
  const plist::Reading second = plist::Read(*binary);
  Require(second.root == first.root);
  Require(plist::WriteXml(second.root) == xml);
  Require(plist::WriteXml(plist::Read(*xml).root) == xml);
}

}  // namespace orvik::fuzz
