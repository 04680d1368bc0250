// Unicode characters: the units that encode them, and the character classes of the readers and
// writers.
//
// A character is given as its number (code point). Lengths and positions are units of the text.
// Every function is a plain computation: it cannot fail, depends on no locale, and allocates memory
// only where it appends to a string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

inline constexpr char32_t kLastCharacter = 0x10FFFF;
// The units of the longest text that ICU and the platform's strings take in one piece. Its bytes,
// and twice its units, fit into a signed 32-bit number.
inline constexpr std::ptrdiff_t kMaximumStringLength = 0x3FFFFFFF;
// Stands for a character that cannot be read or shown.
inline constexpr char16_t kReplacementCharacter = 0xFFFD;

// ---- UTF-16 (RFC 2781) ----

// The first unit of a pair (U+D800 to U+DBFF), the second unit (U+DC00 to U+DFFF), and either of
// them.
constexpr bool IsHighSurrogate(char32_t value) {
  return (value & ~char32_t{0x3FF}) == 0xD800;
}
constexpr bool IsLowSurrogate(char32_t value) {
  return (value & ~char32_t{0x3FF}) == 0xDC00;
}
constexpr bool IsSurrogate(char32_t value) {
  return (value & ~char32_t{0x7FF}) == 0xD800;
}
// A Unicode scalar value: every code point but the surrogates.
constexpr bool IsCharacter(char32_t value) {
  return value <= kLastCharacter && !IsSurrogate(value);
}

// The units of a character: 2 from U+10000 on, otherwise 1, also for a surrogate.
constexpr std::size_t Utf16Units(char32_t character) {
  return character < 0x10000 ? 1 : 2;
}
// The character of a pair of surrogates, and the pair of a character from U+10000 on. The result
// for other arguments is unspecified.
constexpr char32_t FromSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF);
}
constexpr char16_t HighSurrogate(char32_t character) {
  return static_cast<char16_t>(0xD7C0 + (character >> 10));
}
constexpr char16_t LowSurrogate(char32_t character) {
  return static_cast<char16_t>(0xDC00 + (character & 0x3FF));
}

// The units of the character at the start of the text, which must not be empty: 2 for a pair of
// surrogates, otherwise 1.
constexpr std::size_t CharacterLength(std::u16string_view units) {
  return units.size() > 1 && IsHighSurrogate(units[0]) && IsLowSurrogate(units[1]) ? 2 : 1;
}
// The character at `position`; moves `position` behind it. An unpaired surrogate is returned as it
// is.
constexpr char32_t NextCharacter(std::u16string_view units, std::size_t& position) {
  const std::size_t at = position;
  position += CharacterLength(units.substr(at));
  return position - at == 2 ? FromSurrogates(units[at], units[at + 1]) : char32_t{units[at]};
}
// The position of the character that ends at `end`, which must not be 0.
constexpr std::size_t CharacterBefore(std::u16string_view units, std::size_t end) {
  const bool is_pair = end > 1 && IsLowSurrogate(units[end - 1]) && IsHighSurrogate(units[end - 2]);
  return end - (is_pair ? 2 : 1);
}

// The position of the first unpaired surrogate, or npos.
constexpr std::size_t FindUnpairedSurrogate(std::u16string_view units) {
  for (std::size_t at = 0; at < units.size();) {
    const std::size_t start = at;
    if (IsSurrogate(NextCharacter(units, at))) return start;
  }
  return std::u16string_view::npos;
}

// Appends the one or two units of the character. A surrogate is appended as it is.
inline void AppendCharacter(std::u16string& units, char32_t character) {
  if (Utf16Units(character) == 1) {
    units += static_cast<char16_t>(character);
  } else {
    units += HighSurrogate(character);
    units += LowSurrogate(character);
  }
}

// ---- UTF-8 (RFC 3629) ----

// A byte after the first one of a character.
constexpr bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}
// The bytes of the character at the start of the text, which must not be empty: its first byte and
// the continuation bytes after it.
constexpr std::size_t CharacterLength(std::string_view utf8) {
  std::size_t length = 1;
  while (length < utf8.size() && IsContinuation(utf8[length])) ++length;
  return length;
}

// The bytes of a character in UTF-8, 1 to 4; 3 for a surrogate.
constexpr std::size_t Utf8Bytes(char32_t character) {
  return character < 0x80 ? 1 : character < 0x800 ? 2 : Utf16Units(character) + 2;
}
// Writes Utf8Bytes(character) bytes. For a surrogate these are three bytes, which are not valid
// UTF-8.
template <typename Byte>
constexpr void WriteUtf8(char32_t character, Byte* target) {
  constexpr unsigned kFirstBytes[] = {0, 0, 0xC0, 0xE0, 0xF0};
  const std::size_t length = Utf8Bytes(character);
  for (std::size_t i = length - 1; i > 0; --i, character >>= 6) {
    target[i] = static_cast<Byte>(0x80 | (character & 0x3F));
  }
  target[0] = static_cast<Byte>(kFirstBytes[length] | character);
}
// Appends the UTF-8 bytes of the character.
inline void AppendCharacter(std::string& utf8, char32_t character) {
  char bytes[4];
  WriteUtf8(character, bytes);
  utf8.append(bytes, Utf8Bytes(character));
}

// ---- Parts of a text ----

// The number of equal units at the start of both texts. Compares four units at a time, because the
// library's comparison of 16-bit units takes them one by one.
inline std::size_t CommonStart(std::u16string_view a, std::u16string_view b) {
  const std::size_t shorter = a.size() < b.size() ? a.size() : b.size();
  std::size_t at = 0;
  for (std::uint64_t four_a, four_b; shorter - at >= 4; at += 4) {
    std::memcpy(&four_a, a.data() + at, sizeof four_a);
    std::memcpy(&four_b, b.data() + at, sizeof four_b);
    if (four_a != four_b) break;
  }
  while (at < shorter && a[at] == b[at]) ++at;
  return at;
}

// The units of the longest start of the text that has at most `limit` units and does not separate a
// pair of surrogates. `limit` must be 2 or more. Bytes may be cut anywhere.
template <typename Unit>
constexpr std::size_t WholeUnits(std::basic_string_view<Unit> text, std::size_t limit) {
  if (text.size() <= limit) return text.size();
  return sizeof(Unit) > 1 && IsHighSurrogate(static_cast<char32_t>(text[limit - 1])) ? limit - 1
                                                                                     : limit;
}

// ---- Classes ----

// The white space of XML 1.0 (production 3), of property lists and of JSON.
constexpr bool IsXmlSpace(char32_t character) {
  return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}
// The characters of an XML 1.0 document (production 2).
constexpr bool IsXmlCharacter(char32_t character) {
  return character < 0x20 ? IsXmlSpace(character)
                          : IsCharacter(character) && (character & ~char32_t{1}) != 0xFFFE;
}
// White space of ASCII: the units 9 to 13 and 32.
constexpr bool IsAsciiSpace(char32_t character) {
  return (character >= 9 && character <= 13) || character == ' ';
}
// The property White_Space of the Unicode Character Database.
constexpr bool IsWhiteSpace(char32_t character) {
  constexpr std::u32string_view kOthers = U"\u0085\u00A0\u1680\u2028\u2029\u202F\u205F\u3000";
  return IsAsciiSpace(character) || (character >= 0x2000 && character <= 0x200A) ||
         kOthers.find(character) != kOthers.npos;
}

}  // namespace orvik
