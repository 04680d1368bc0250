// Code pages of single bytes, as tables.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/code_page_table.h"

namespace orvik {

class SingleByteTable {
 public:
  // From the unit of each byte, kNoUnit for none.
  explicit SingleByteTable(const std::array<char16_t, 256>& units);

  // -1 for a unit that has no byte.
  int ByteOf(char16_t unit) const;
  EncodedLength Encode(std::u16string_view text, char loss_byte, char* target, size_t room) const;
  std::optional<std::u16string> Decode(std::string_view bytes) const;

 private:
  struct Entry {
    char16_t unit;
    unsigned char byte;
  };

  std::array<char16_t, 256> units_;
  std::array<short, 256> bytes_of_low_;  // of the units below U+0100
  std::vector<Entry> bytes_of_high_;     // of the others, by unit
  bool starts_with_ascii_;
};

}  // namespace orvik
