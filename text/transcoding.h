// Conversions between UTF-8 and UTF-16 and between Latin-1 and UTF-16: the fast loops under every
// conversion.
//
// Well-formed means RFC 3629: shortest forms, no surrogates, nothing above U+10FFFF. Both
// converters advance `source` and `target` over whole characters and say why they stopped. They may
// write into the memory behind the final `target`, but restore it before they return.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "text/characters.h"

namespace [[gnu::visibility("default")]] orvik {

enum class TranscodingStop {
  kDone,        // the source is used up
  kSourceEnds,  // the source ends within a character that was well formed so far
  kIllegal,     // the next character is malformed, or an unpaired surrogate
  kTargetFull,  // the next character does not fit
};

// Converts until the source or the target ends, or until a character cannot be converted. Moves
// `source` and `target` behind the last converted character. A character that does not fit is not
// converted in part. The source and the target must not overlap.
TranscodingStop DecodeUtf8(const char*& source, const char* source_end, char16_t*& target,
                           char16_t* target_end);
// The same from UTF-16. A high surrogate at the end is kSourceEnds.
TranscodingStop EncodeUtf8(const char16_t*& source, const char16_t* source_end, char*& target,
                           char* target_end);

// The UTF-8 bytes of the text. An unpaired surrogate counts as one byte.
size_t Utf8Length(std::u16string_view units);
// The UTF-16 units of the bytes; -1 when they are not well formed.
std::ptrdiff_t Utf16Length(std::string_view bytes);

// Whether the bytes are well formed; U+0000 may be among them.
bool IsValidUtf8(std::string_view bytes);
// The character that starts at `position`; moves `position` behind it. A byte that does not start a
// well-formed character gives U+FFFD.
char32_t NextCharacter(std::string_view bytes, size_t& position);

// The number of bytes, or units, below 0x80 at the start.
size_t AsciiPrefix(std::string_view bytes);
size_t AsciiPrefix(std::u16string_view units);
inline bool IsAscii(std::string_view bytes) {
  return AsciiPrefix(bytes) == bytes.size();
}
inline bool IsAscii(std::u16string_view units) {
  return AsciiPrefix(units) == units.size();
}
// The bitwise or of all units: below 0x80 for ASCII, below 0x100 for Latin-1.
char16_t OrOfUnits(std::u16string_view units);

// Converts each of the `n` bytes to the unit of the same value. `source` and `target` must not
// overlap.
void WidenLatin1(const char* source, char16_t* target, size_t n);
// Converts each of the `n` units to the byte of the same value, and units above 255 to "?".
void NarrowLatin1(const char16_t* source, char* target, size_t n);

// Copying of texts, most of which are short.

// Copies between kSize and twice kSize bytes, as two parts that may overlap. Reads both parts
// before it writes.
template <std::size_t kSize>
void CopyEnds(char* to, const char* from, std::size_t bytes) {
  char first[kSize];
  char last[kSize];
  std::memcpy(first, from, kSize);
  std::memcpy(last, from + bytes - kSize, kSize);
  std::memcpy(to, first, kSize);
  std::memcpy(to + bytes - kSize, last, kSize);
}

// Copies n units. Copies of up to 32 bytes need no function call. The memory may overlap.
template <typename Unit>
void CopyUnits(Unit* to, const Unit* from, std::size_t n) {
  const std::size_t bytes = n * sizeof(Unit);
  char* const target = reinterpret_cast<char*>(to);
  const char* const source = reinterpret_cast<const char*>(from);
  if (bytes > 32) {
    std::memmove(target, source, bytes);
  } else if (bytes >= 16) {
    CopyEnds<16>(target, source, bytes);
  } else if (bytes >= 8) {
    CopyEnds<8>(target, source, bytes);
  } else if (bytes >= 4) {
    CopyEnds<4>(target, source, bytes);
  } else {
    Unit few[3];
    for (std::size_t i = 0; i < n; ++i) few[i] = from[i];
    for (std::size_t i = 0; i < n; ++i) to[i] = few[i];
  }
}

}  // namespace orvik
