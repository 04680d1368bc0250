// Text in Windows code pages from and to UTF-16.
//
// Besides the code pages of code_page_table.cpp these are known: UTF-8 (65001), UTF-16 (1200 and
// 1201, big-endian) and UTF-32 (12000 and 12001, big-endian). Results are empty for a code page
// that is not known, and for nothing else unless said so.
//
// Each thread opens a converter of the Unicode library once for each code page, which takes longer
// than most conversions, and keeps it. The Unicode forms, ASCII, ISO 8859-1 and Mac OS Roman need
// none. Too little memory throws std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

using CodePage = std::uint32_t;
inline constexpr CodePage kMacRomanCodePage = 10000;
inline constexpr CodePage kAsciiCodePage = 20127;
inline constexpr CodePage kLatin1CodePage = 28591;
inline constexpr CodePage kUtf8CodePage = 65001;

// Whether text can be converted from and to the code page. Opens its converter, if it needs one.
bool IsKnownCodePage(CodePage page);

// The result of an encoding.
struct EncodedLength {
  size_t units = 0;  // taken from the text, whole characters
  size_t bytes = 0;  // produced
};

// Encodes as many whole characters as `room` bytes hold; with a null target, all of them are
// measured. A character that the code page lacks, and an unpaired surrogate, becomes `loss_byte`;
// with loss byte 0 it ends the conversion before it. Surrogates are units of UTF-16 like any other.
std::optional<EncodedLength> EncodeText(CodePage page, std::u16string_view text, char loss_byte,
                                        char* target, size_t room);

// Decodes all of the bytes; empty also when the code page cannot have written them.
std::optional<std::u16string> DecodeText(CodePage page, std::string_view bytes);

// Mac OS Roman, the 8-bit encoding of the platform: the mapping of 1999, with the euro sign at
// 0xDB. Bytes below 0x80 are ASCII.

// The unit of a byte; every byte has one.
char16_t UnitOfMacRoman(unsigned char byte);
// -1 for a unit that Mac OS Roman lacks.
int MacRomanOfUnit(char16_t unit);

}  // namespace orvik
