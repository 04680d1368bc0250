// Rules that hold for any bytes that are read as a property list.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "fuzz/require.h"
#include "plist/forms.h"
#include "plist/leaves.h"

namespace orvik::fuzz {

// Plain text ends at the first byte that would be written differently.
inline void CheckPlainText(std::string_view bytes) {
  for (std::size_t start = 0; start < std::min<std::size_t>(bytes.size(), 40); ++start) {
    std::size_t end = start;
    for (; end < bytes.size(); ++end) {
      const auto byte = static_cast<unsigned char>(bytes[end]);
      if (byte < 0x20 ? byte != '\t' && byte != '\n' : byte >= 0x80) break;
      if (byte == '<' || byte == '>' || byte == '&') break;
    }
    Require(plist::PlainTextEnd(bytes, start) == end);
  }
}

// The XML form of entries that were not used yet equals that of their values, at every indentation,
// and writing it again changes nothing. The binary form gives an equal list.
inline void CheckPropertyList(std::string_view bytes) {
  CheckPlainText(bytes);
  const plist::Reading first = plist::Read(bytes);
  if (!first.root) return;
  const auto xml = plist::WriteXml(first.root);
  const auto indented = plist::WriteXml(plist::Value::Array({first.root}));
  const auto binary = plist::WriteBinary(first.root);
  Require(binary && xml);
  const plist::Reading second = plist::Read(*binary);
  Require(second.root == first.root);
  Require(plist::WriteXml(second.root) == xml);
  Require(plist::WriteXml(plist::Value::Array({second.root})) == indented);
  Require(plist::WriteXml(plist::Read(*xml).root) == xml);
}

}  // namespace orvik::fuzz
