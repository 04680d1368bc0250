#include "text/shown_text.h"

namespace orvik {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

// Whether the lines and the order of text are changed by a character of three bytes or less.
bool ChangesText(char32_t point) {
  return (point >= 0x80 && point < 0xA0) || point == 0x61C || point == 0x200E || point == 0x200F ||
         (point >= 0x2028 && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
}

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::optional<ControlCharacter> ControlAt(std::string_view utf8, std::size_t at) {
  const auto byte = [&](std::size_t index) {
    return static_cast<char32_t>(static_cast<unsigned char>(utf8[index]));
  };
  const char32_t first = byte(at);
  ControlCharacter found = {first, 1};
  if (first < 0x80) {
    if (first >= 0x20 && first != 0x7F) return std::nullopt;
    return found;
  }
  const auto continues = [&](std::size_t index) {
    return index < utf8.size() && IsContinuation(utf8[index]);
  };
  if (first >= 0xC2 && first < 0xE0 && continues(at + 1)) {
    found = {((first & 0x1F) << 6) | (byte(at + 1) & 0x3F), 2};
  } else if (first == 0xE2 && continues(at + 1) && continues(at + 2)) {
    found = {0x2000 | ((byte(at + 1) & 0x3F) << 6) | (byte(at + 2) & 0x3F), 3};
  } else {
    return std::nullopt;
  }
  if (!ChangesText(found.point)) return std::nullopt;
  return found;
}

std::string Escaped(std::string_view utf8) {
  constexpr std::string_view kNamed = "\\\n\t\r";
  constexpr std::string_view kLetters = "\\ntr";
  std::string shown;
  shown.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size();) {
    const char byte = utf8[i];
    const std::optional<ControlCharacter> control = ControlAt(utf8, i);
    if (const std::size_t named = kNamed.find(byte); named != std::string_view::npos) {
      shown += '\\';
      shown += kLetters[named];
    } else if (control) {
      const bool small = control->point < 0x100;
      shown += small ? "\\x" : "\\u";
      for (int shift = small ? 4 : 12; shift >= 0; shift -= 4) {
        shown += kDigits[(control->point >> shift) & 15];
      }
    } else {
      shown += byte;
    }
    i += control ? control->length : 1;
  }
  return shown;
}

}  // namespace orvik
