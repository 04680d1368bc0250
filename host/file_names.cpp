#include "host/file_names.h"

namespace orvik::host {
namespace {

constexpr char32_t kEscapedBackslash = 0xDC00 + U'\\';

// Length of the well-formed UTF-8 sequence at the start of `bytes`, 0 when there is none (Unicode
// table 3-7).
std::size_t SequenceLength(std::string_view bytes) {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = at(0);
  std::size_t length;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (bytes.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (at(i) < low || at(i) > high) return 0;
    low = 0x80;
    high = 0xBF;
  }
  return length;
}

}  // namespace

std::u16string FileNameFromBytes(std::string_view bytes) {
  std::u16string name;
  name.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t length = SequenceLength(bytes.substr(i));
    const auto at = [&](std::size_t k) {
      return static_cast<char32_t>(static_cast<unsigned char>(bytes[i + k]));
    };
    switch (length) {
      case 0:
        name += static_cast<char16_t>(0xDC00 + at(0));
        break;
      case 1:
        name += static_cast<char16_t>(at(0));
        break;
      case 2:
        name += static_cast<char16_t>((at(0) & 0x1F) << 6 | (at(1) & 0x3F));
        break;
      case 3:
        name += static_cast<char16_t>((at(0) & 0x0F) << 12 | (at(1) & 0x3F) << 6 | (at(2) & 0x3F));
        break;
      default: {
        const char32_t character =
            ((at(0) & 0x07) << 18 | (at(1) & 0x3F) << 12 | (at(2) & 0x3F) << 6 | (at(3) & 0x3F)) -
            0x10000;
        name += static_cast<char16_t>(0xD800 + (character >> 10));
        name += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
      }
    }
    i += length == 0 ? 1 : length;
  }
  return name;
}

std::optional<std::string> FileNameToBytes(std::u16string_view name) {
  std::string bytes;
  bytes.reserve(name.size() + name.size() / 2);
  for (std::size_t i = 0; i < name.size(); ++i) {
    char32_t character = name[i];
    if (character == 0) return std::nullopt;
    if (character < 0x80) {
      bytes += static_cast<char>(character);
      continue;
    }
    if ((character >= 0xDC80 && character <= 0xDCFF) || character == kEscapedBackslash) {
      bytes += static_cast<char>(character - 0xDC00);
      continue;
    }
    if (character >= 0xD800 && character <= 0xDFFF) {
      const bool paired = character < 0xDC00 && i + 1 < name.size() && name[i + 1] >= 0xDC00 &&
                          name[i + 1] <= 0xDFFF;
      if (paired) {
        character = 0x10000 + ((character - 0xD800) << 10) + (name[++i] - 0xDC00u);
        bytes += static_cast<char>(0xF0 | character >> 18);
        bytes += static_cast<char>(0x80 | (character >> 12 & 0x3F));
      } else {
        bytes += static_cast<char>(0xE0 | character >> 12);
      }
    } else if (character < 0x800) {
      bytes += static_cast<char>(0xC0 | character >> 6);
      bytes += static_cast<char>(0x80 | (character & 0x3F));
      continue;
    } else {
      bytes += static_cast<char>(0xE0 | character >> 12);
    }
    bytes += static_cast<char>(0x80 | (character >> 6 & 0x3F));
    bytes += static_cast<char>(0x80 | (character & 0x3F));
  }
  return bytes;
}

}  // namespace orvik::host
