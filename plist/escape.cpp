#include "plist/leaves.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "text/transcoding.h"
#include "text/xml_scanner.h"

namespace orvik::plist {
namespace {

constexpr char16_t kEscape = 0xFDD0;
constexpr size_t kDigits = 4;
constexpr char kHexDigits[] = "0123456789ABCDEF";

bool IsForbiddenControl(char16_t unit) {
  return unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r';
}

// Whether XML cannot carry the unit. A surrogate passed here is a lone one.
bool IsForbidden(char16_t unit) {
  return IsForbiddenControl(unit) || IsSurrogate(unit) || unit >= 0xFFFE;
}

// The unit whose four upper-case digits are at the position, or -1.
int UnitOfDigits(std::u16string_view text, size_t position) {
  if (text.size() < kDigits || position > text.size() - kDigits) return -1;
  int unit = 0;
  for (size_t i = position; i < position + kDigits; ++i) {
    const char16_t c = text[i];
    if (c >= u'0' && c <= u'9') {
      unit = unit * 16 + (c - u'0');
    } else if (c >= u'A' && c <= u'F') {
      unit = unit * 16 + (c - u'A' + 10);
    } else {
      return -1;
    }
  }
  return unit;
}

// The unit of the escape whose digits begin at the position, or -1 if there is no escape.
int EscapedUnit(std::u16string_view text, size_t position) {
  const int unit = UnitOfDigits(text, position);
  // U+FDD0 itself is escaped only if it would otherwise read as an escape.
  int last = unit;
  while (last == kEscape) last = UnitOfDigits(text, position += kDigits);
  return last >= 0 && IsForbidden(static_cast<char16_t>(last)) ? unit : -1;
}

void AppendEscape(std::string& xml, char16_t unit) {
  AppendCharacter(xml, kEscape);
  for (int shift = 12; shift >= 0; shift -= 4) xml += kHexDigits[unit >> shift & 0xF];
}

// The bytes that cannot be written unchanged.
constexpr std::array<bool, 256> kSpecial = [] {
  std::array<bool, 256> special = {};
  for (size_t c = 0; c < 0x20; ++c) special[c] = c != '\t' && c != '\n';
  for (size_t c = 0x80; c < 0x100; ++c) special[c] = true;
  special['&'] = special['<'] = special['>'] = true;
  return special;
}();

void AppendSpecial(std::string& xml, char c) {
  const std::string_view reference = XmlReference(c);
  xml += reference;
  if (reference.empty()) AppendEscape(xml, static_cast<char16_t>(c));
}

void AppendAscii(std::string& xml, std::string_view text) {
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (!kSpecial[static_cast<unsigned char>(text[i])]) continue;
    xml.append(text, start, i - start);
    AppendSpecial(xml, text[i]);
    start = i + 1;
  }
  xml.append(text, start);
}

// Appends units for XML, or for a form that carries everything but lone surrogates.
void AppendUnits(std::string& utf8, std::u16string_view text, bool is_xml) {
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (unit < 0x80 && is_xml && kSpecial[unit]) {
      AppendSpecial(utf8, static_cast<char>(unit));
    } else if (unit < 0x80) {
      utf8 += static_cast<char>(unit);
    } else if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      AppendCharacter(utf8, FromSurrogates(unit, text[++i]));
    } else if ((is_xml ? IsForbidden(unit) : IsSurrogate(unit)) ||
               (unit == kEscape && EscapedUnit(text, i + 1) >= 0)) {
      AppendEscape(utf8, unit);
    } else {
      AppendCharacter(utf8, unit);
    }
  }
}

}  // namespace

void AppendEscapedText(std::string& xml, const Text& text) {
  if (text.is_ascii()) {
    AppendAscii(xml, text.bytes());
  } else if (text.is_wide()) {
    AppendUnits(xml, text.units(), true);
  } else {
    AppendUnits(xml, text.ToUnits(), true);
  }
}

// Tests eight bytes at a time. In `special` the high bit is set for each special byte. A borrow
// from a lower byte may also set it for an ordinary byte, but only above the lowest special one;
// the loop after this checks each byte.
size_t PlainTextEnd(std::string_view xml, size_t position) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kOnes;
  const auto equals = [](std::uint64_t word, char c) {
    const std::uint64_t zero = word ^ (static_cast<unsigned char>(c) * kOnes);
    return (zero - kOnes) & ~zero;
  };
  for (std::uint64_t word; xml.size() - position >= sizeof word; position += sizeof word) {
    std::memcpy(&word, xml.data() + position, sizeof word);
    const std::uint64_t special =
        ((word - 0x20 * kOnes) | word | equals(word, '<') | equals(word, '>') | equals(word, '&')) &
        kHighBits;
    if (special == 0) continue;
    if constexpr (std::endian::native == std::endian::little) {
      position += static_cast<size_t>(std::countr_zero(special)) / 8;
    }
    break;
  }
  while (position < xml.size() && !kSpecial[static_cast<unsigned char>(xml[position])]) ++position;
  return position;
}

std::string EscapedSurrogates(const Text& text) {
  if (!text.is_wide()) return text.ToUtf8();
  std::string utf8;
  AppendUnits(utf8, text.units(), false);
  return utf8;
}

void UnescapeText(std::u16string& text) {
  size_t out = text.find(kEscape);
  if (out == std::u16string::npos) return;
  for (size_t i = out; i < text.size(); ++out) {
    char16_t unit = text[i++];
    if (unit == kEscape) {
      if (const int escaped = EscapedUnit(text, i); escaped >= 0) {
        unit = static_cast<char16_t>(escaped);
        i += kDigits;
      }
    }
    text[out] = unit;
  }
  text.resize(out);
}

}  // namespace orvik::plist
