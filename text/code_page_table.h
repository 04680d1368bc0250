// The Windows code pages that are not a Unicode form, and the converters that carry them out.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/code_page_codec.h"

namespace orvik {

// A byte that the library's table reads otherwise than the Windows code page.
struct ByteCorrection {
  unsigned char byte;
  char16_t unit;  // kNoUnit: the byte has no meaning
};
inline constexpr char16_t kNoUnit = 0xFFFF;

struct CodePageEntry {
  CodePage page;
  const char* converter;  // the Unicode library's name
  std::span<const ByteCorrection> corrections;
};

// Finds an entry by its number in a sorted table; null when the table has none. The result lives as
// long as the program.
const CodePageEntry* FindCodePage(CodePage page);

// A code page of single bytes, as a table.
class SingleByteTable {
 public:
  // From the unit of each byte, kNoUnit for none.
  explicit SingleByteTable(const std::array<char16_t, 256>& units);

  // -1 for a unit that has no byte.
  int ByteOf(char16_t unit) const;
  // As EncodeText and DecodeText (code_page_codec.h); Decode is empty for a byte without a meaning.
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

// Code pages that only the tables of the Unicode library know.

// The two tasks of code_page_codec.h. Both are empty when the library has no such converter.
std::optional<EncodedLength> EncodeWithConverter(const CodePageEntry& entry,
                                                 std::u16string_view text, char loss_byte,
                                                 char* target, size_t room);
std::optional<std::u16string> DecodeWithConverter(const CodePageEntry& entry,
                                                  std::string_view bytes);

// Whether the library has the converter.
bool HasConverter(const CodePageEntry& entry);

}  // namespace orvik
