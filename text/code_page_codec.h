// Text in Windows code pages from and to UTF-16.
//
// The known code pages are those of code_page_table.cpp, UTF-8 (65001), UTF-16 (1200 and 1201,
// big-endian) and UTF-32 (12000 and 12001, big-endian). Results are empty only for an unknown code
// page, unless a function says otherwise.
//
// Opening a converter of the Unicode library takes longer than most conversions, so each thread
// opens one for each code page and keeps it. The Unicode forms, ASCII, ISO 8859-1 and Mac OS Roman
// need no converter. When memory runs out, the functions throw std::bad_alloc.
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

// Encodes as many whole characters as fit into `room` bytes. With a null `target` it ignores
// `room`, writes nothing and measures the whole text. Writes `loss_byte` for an unpaired surrogate
// and for a character that the code page lacks. If `loss_byte` is 0, the conversion stops before
// such a character instead. UTF-16 takes unpaired surrogates like all other units.
std::optional<EncodedLength> EncodeText(CodePage page, std::u16string_view text, char loss_byte,
                                        char* target, size_t room);

// Decodes all of the bytes. Also empty when the bytes are malformed in this code page.
std::optional<std::u16string> DecodeText(CodePage page, std::string_view bytes);

// Mac OS Roman, the 8-bit encoding of the platform: the mapping of 1999, with the euro sign at
// 0xDB. Bytes below 0x80 are ASCII.

// The unit of a byte; every byte has one.
char16_t UnitOfMacRoman(unsigned char byte);
// -1 for a unit that Mac OS Roman lacks.
int MacRomanOfUnit(char16_t unit);

}  // namespace orvik
