#include "text/code_page_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>

#include "text/code_page_table.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

constexpr CodePage kUtf16CodePage = 1200;
constexpr CodePage kUtf16BigEndianCodePage = 1201;
constexpr CodePage kUtf32CodePage = 12000;
constexpr CodePage kUtf32BigEndianCodePage = 12001;

std::endian OrderOf(CodePage page) {
  return page == kUtf16CodePage || page == kUtf32CodePage ? std::endian::little : std::endian::big;
}

constexpr bool IsForeign(std::endian order) {
  return order != std::endian::native;
}

char16_t Swapped(char16_t unit) {
  return static_cast<char16_t>((unit << 8) | (unit >> 8));
}

bool IsUnpaired(std::u16string_view text) {
  return IsSurrogate(text[0]) && CharacterLength(text) == 1;
}

// Without a target it only measures the result. Utf8Length does that fastest, because it counts an
// unpaired surrogate as one byte, the size of the loss byte.
EncodedLength EncodeToUtf8(std::u16string_view text, char loss_byte, char* target, size_t room) {
  if (target == nullptr) {
    if (loss_byte == 0) {
      size_t good = 0;
      while (good < text.size() && !IsUnpaired(text.substr(good))) {
        good += CharacterLength(text.substr(good));
      }
      text = text.substr(0, good);
    }
    return {text.size(), Utf8Length(text)};
  }
  const char16_t* source = text.data();
  const char16_t* const source_end = source + text.size();
  char* at = target;
  char* const target_end = target + room;
  for (;;) {
    const TranscodingStop stop = EncodeUtf8(source, source_end, at, target_end);
    if (stop == TranscodingStop::kDone || stop == TranscodingStop::kTargetFull) break;
    if (loss_byte == 0 || at == target_end) break;
    *at++ = loss_byte;
    ++source;
  }
  return {static_cast<size_t>(source - text.data()), static_cast<size_t>(at - target)};
}

// Unpaired surrogates are encoded like all other units.
EncodedLength EncodeToUtf16(std::u16string_view text, std::endian order, char* target,
                            size_t room) {
  size_t count = std::min(text.size(), room / 2);
  // Does not separate the two units of a pair.
  if (count > 0 && count < text.size() && CharacterLength(text.substr(count - 1)) == 2) --count;
  for (size_t i = 0; target != nullptr && i < count; ++i) {
    const char16_t unit = IsForeign(order) ? Swapped(text[i]) : text[i];
    std::memcpy(target + 2 * i, &unit, sizeof unit);
  }
  return {count, 2 * count};
}

// Writes four bytes for each character, and for the loss byte that replaces an unpaired surrogate.
EncodedLength EncodeToUtf32(std::u16string_view text, std::endian order, char loss_byte,
                            char* target, size_t room) {
  EncodedLength done;
  while (done.units < text.size() && room - done.bytes >= 4) {
    const std::u16string_view rest = text.substr(done.units);
    const bool is_lost = IsUnpaired(rest);
    if (is_lost && loss_byte == 0) break;
    const size_t length = CharacterLength(rest);
    std::size_t next = 0;
    const char32_t value =
        is_lost ? static_cast<unsigned char>(loss_byte) : NextCharacter(rest, next);
    for (unsigned i = 0; target != nullptr && i < 4; ++i) {
      const unsigned place = order == std::endian::little ? i : 3 - i;
      target[done.bytes + place] = static_cast<char>(value >> (8 * i));
    }
    done.units += length;
    done.bytes += 4;
  }
  return done;
}

// A character of UTF-8 never becomes more units than it has bytes.
std::optional<std::u16string> DecodeFromUtf8(std::string_view bytes) {
  std::u16string text(bytes.size(), u'\0');
  const char* source = bytes.data();
  char16_t* target = text.data();
  if (DecodeUtf8(source, source + bytes.size(), target, target + text.size()) !=
      TranscodingStop::kDone) {
    return std::nullopt;
  }
  text.resize(static_cast<size_t>(target - text.data()));
  return text;
}

std::optional<std::u16string> DecodeFromUtf16(std::string_view bytes, std::endian order) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  std::u16string text(bytes.size() / 2, u'\0');
  if (!text.empty()) std::memcpy(text.data(), bytes.data(), bytes.size());
  if (IsForeign(order)) {
    for (char16_t& unit : text) unit = Swapped(unit);
  }
  return text;
}

std::optional<std::u16string> DecodeFromUtf32(std::string_view bytes, std::endian order) {
  if (bytes.size() % 4 != 0) return std::nullopt;
  std::u16string text;
  text.reserve(bytes.size() / 4);
  for (; !bytes.empty(); bytes.remove_prefix(4)) {
    char32_t value = 0;
    for (unsigned i = 0; i < 4; ++i) {
      const unsigned place = order == std::endian::little ? 3 - i : i;
      value = (value << 8) | static_cast<unsigned char>(bytes[place]);
    }
    if (!IsCharacter(value)) return std::nullopt;
    AppendCharacter(text, value);
  }
  return text;
}

}  // namespace

bool IsKnownCodePage(CodePage page) {
  return page == kUtf8CodePage || page == kUtf16CodePage || page == kUtf16BigEndianCodePage ||
         page == kUtf32CodePage || page == kUtf32BigEndianCodePage || IsInTable(page);
}

std::optional<EncodedLength> EncodeText(CodePage page, std::u16string_view text, char loss_byte,
                                        char* target, size_t room) {
  if (target == nullptr) room = std::numeric_limits<size_t>::max();
  switch (page) {
    case kUtf8CodePage:
      return EncodeToUtf8(text, loss_byte, target, room);
    case kUtf16CodePage:
    case kUtf16BigEndianCodePage:
      return EncodeToUtf16(text, OrderOf(page), target, room);
    case kUtf32CodePage:
    case kUtf32BigEndianCodePage:
      return EncodeToUtf32(text, OrderOf(page), loss_byte, target, room);
    default:
      return EncodeByTable(page, text, loss_byte, target, room);
  }
}

std::optional<std::u16string> DecodeText(CodePage page, std::string_view bytes) {
  switch (page) {
    case kUtf8CodePage:
      return DecodeFromUtf8(bytes);
    case kUtf16CodePage:
    case kUtf16BigEndianCodePage:
      return DecodeFromUtf16(bytes, OrderOf(page));
    case kUtf32CodePage:
    case kUtf32BigEndianCodePage:
      return DecodeFromUtf32(bytes, OrderOf(page));
    default:
      return DecodeByTable(page, bytes);
  }
}

namespace {

// The units of the bytes from 0x80 on.
constexpr char16_t kUpperHalf[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
    0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
    0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
    0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
    0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

struct Entry {
  char16_t unit;
  unsigned char byte;
};

// Sorted by unit.
constexpr std::array<Entry, 128> kInverse = [] {
  std::array<Entry, 128> entries{};
  for (size_t i = 0; i < 128; ++i) {
    entries[i] = {kUpperHalf[i], static_cast<unsigned char>(0x80 + i)};
  }
  std::ranges::sort(entries, {}, &Entry::unit);
  return entries;
}();

}  // namespace

char16_t UnitOfMacRoman(unsigned char byte) {
  return byte < 0x80 ? char16_t{byte} : kUpperHalf[byte - 0x80];
}

int MacRomanOfUnit(char16_t unit) {
  if (unit < 0x80) return unit;
  const auto* const entry = std::ranges::lower_bound(kInverse, unit, {}, &Entry::unit);
  return entry != kInverse.end() && entry->unit == unit ? entry->byte : -1;
}

}  // namespace orvik
