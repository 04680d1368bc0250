#include "text/code_page_codec.h"

#include <bit>
#include <cstring>
#include <limits>

#include "text/code_page_converter.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

constexpr CodePage kUtf16CodePage = 1200;
constexpr CodePage kUtf16BigEndianCodePage = 1201;
constexpr CodePage kUtf32CodePage = 12000;
constexpr CodePage kUtf32BigEndianCodePage = 12001;

constexpr bool IsForeign(std::endian order) {
  return order != std::endian::native;
}

char16_t Swapped(char16_t unit) {
  return static_cast<char16_t>((unit << 8) | (unit >> 8));
}

bool IsUnpaired(std::u16string_view text) {
  return IsSurrogate(text[0]) && CharacterLength(text) == 1;
}

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

EncodedLength EncodeToUtf16(std::u16string_view text, std::endian order, char* target,
                            size_t room) {
  size_t count = std::min(text.size(), room / 2);
  // Half a pair at the end is left out.
  if (count > 0 && count < text.size() && IsLowSurrogate(text[count]) &&
      IsHighSurrogate(text[count - 1])) {
    --count;
  }
  for (size_t i = 0; target != nullptr && i < count; ++i) {
    const char16_t unit = IsForeign(order) ? Swapped(text[i]) : text[i];
    std::memcpy(target + 2 * i, &unit, sizeof unit);
  }
  return {count, 2 * count};
}

EncodedLength EncodeToUtf32(std::u16string_view text, std::endian order, char loss_byte,
                            char* target, size_t room) {
  EncodedLength done;
  while (done.units < text.size() && room - done.bytes >= 4) {
    const std::u16string_view rest = text.substr(done.units);
    const bool is_lost = IsUnpaired(rest);
    if (is_lost && loss_byte == 0) break;
    const size_t length = CharacterLength(rest);
    const char32_t value = is_lost       ? static_cast<unsigned char>(loss_byte)
                           : length == 1 ? char32_t{rest[0]}
                                         : FromSurrogates(rest[0], rest[1]);
    for (unsigned i = 0; target != nullptr && i < 4; ++i) {
      const unsigned place = order == std::endian::little ? i : 3 - i;
      target[done.bytes + place] = static_cast<char>(value >> (8 * i));
    }
    done.units += length;
    done.bytes += 4;
  }
  return done;
}

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
    if (value >= 0x110000 || (value >= 0xD800 && value < 0xE000)) return std::nullopt;
    AppendCharacter(text, value);
  }
  return text;
}

}  // namespace

bool IsKnownCodePage(CodePage page) {
  switch (page) {
    case kUtf8CodePage:
    case kUtf16CodePage:
    case kUtf16BigEndianCodePage:
    case kUtf32CodePage:
    case kUtf32BigEndianCodePage:
      return true;
    default: {
      const CodePageEntry* const entry = FindCodePage(page);
      return entry != nullptr && HasConverter(*entry);
    }
  }
}

std::optional<EncodedLength> EncodeText(CodePage page, std::u16string_view text, char loss_byte,
                                        char* target, size_t room) {
  if (target == nullptr) room = std::numeric_limits<size_t>::max();
  switch (page) {
    case kUtf8CodePage:
      return EncodeToUtf8(text, loss_byte, target, room);
    case kUtf16CodePage:
      return EncodeToUtf16(text, std::endian::little, target, room);
    case kUtf16BigEndianCodePage:
      return EncodeToUtf16(text, std::endian::big, target, room);
    case kUtf32CodePage:
      return EncodeToUtf32(text, std::endian::little, loss_byte, target, room);
    case kUtf32BigEndianCodePage:
      return EncodeToUtf32(text, std::endian::big, loss_byte, target, room);
    default: {
      const CodePageEntry* const entry = FindCodePage(page);
      if (entry == nullptr) return std::nullopt;
      return EncodeWithConverter(*entry, text, loss_byte, target, room);
    }
  }
}

std::optional<std::u16string> DecodeText(CodePage page, std::string_view bytes) {
  switch (page) {
    case kUtf8CodePage:
      return DecodeFromUtf8(bytes);
    case kUtf16CodePage:
      return DecodeFromUtf16(bytes, std::endian::little);
    case kUtf16BigEndianCodePage:
      return DecodeFromUtf16(bytes, std::endian::big);
    case kUtf32CodePage:
      return DecodeFromUtf32(bytes, std::endian::little);
    case kUtf32BigEndianCodePage:
      return DecodeFromUtf32(bytes, std::endian::big);
    default: {
      const CodePageEntry* const entry = FindCodePage(page);
      return entry == nullptr ? std::nullopt : DecodeWithConverter(*entry, bytes);
    }
  }
}

}  // namespace orvik
