#include "text/shown_text.h"

#include "text/characters.h"
#include "text/unicode_library.h"

namespace orvik {

namespace {

// Whether the unit moves the cursor, or changes the lines or the order of text.
bool IsControl(char16_t unit) {
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 || unit == 0x2029 ||
         ControlsDirection(unit);
}

}  // namespace

// Decodes only the lead bytes that a control character can have; all others return at once.
std::optional<ControlCharacter> ControlAt(std::string_view utf8, std::size_t at) {
  const auto byte = [&](std::size_t index) {
    return static_cast<char32_t>(static_cast<unsigned char>(utf8[index]));
  };
  const char32_t first = byte(at);
  ControlCharacter found = {first, 1};
  const auto continues = [&](std::size_t index) {
    return index < utf8.size() && IsContinuation(utf8[index]);
  };
  if (first >= 0xC2 && first < 0xE0 && continues(at + 1)) {
    found = {((first & 0x1F) << 6) | (byte(at + 1) & 0x3F), 2};
  } else if (first == 0xE2 && continues(at + 1) && continues(at + 2)) {
    found = {0x2000 | ((byte(at + 1) & 0x3F) << 6) | (byte(at + 2) & 0x3F), 3};
  } else if (first >= 0x80) {
    return std::nullopt;
  }
  if (!IsControl(static_cast<char16_t>(found.point))) return std::nullopt;
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
      constexpr char kDigits[] = "0123456789abcdef";
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

namespace {

bool HasRightToLeft(std::u16string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const UCharDirection direction =
        icu::u_charDirection(static_cast<UChar32>(NextCharacter(text, at)));
    if (direction == U_RIGHT_TO_LEFT || direction == U_RIGHT_TO_LEFT_ARABIC) return true;
  }
  return false;
}

std::u16string NumberOf(char16_t unit) {
  constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string text = u"[U+";
  for (int shift = 12; shift >= 0; shift -= 4) text += kDigits[(unit >> shift) & 0xF];
  return text + u']';
}

}  // namespace

std::u16string NameForSentence(std::u16string_view name, std::u16string_view sentence) {
  constexpr char16_t kFirstStrongIsolate = 0x2068;
  constexpr char16_t kPopDirectionalIsolate = 0x2069;
  std::u16string shown;
  for (const char16_t unit : name) {
    if (IsControl(unit)) {
      shown += NumberOf(unit);
    } else {
      shown += unit;
    }
  }
  if (!HasRightToLeft(shown) && !HasRightToLeft(sentence)) return shown;
  return kFirstStrongIsolate + shown + kPopDirectionalIsolate;
}

int ColumnsOf(char32_t character) {
  if (character >= 0x20 && character < 0x7F) return 1;
  const auto code_point = static_cast<UChar32>(character);
  constexpr uint32_t kNoRoom = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK | U_GC_CC_MASK;
  constexpr char32_t kSoftHyphen = 0xAD;  // a format character that terminals show
  if ((U_MASK(icu::u_charType(code_point)) & kNoRoom) != 0) return character == kSoftHyphen ? 1 : 0;
  const int width = icu::u_getIntPropertyValue(code_point, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

int ColumnsOf(std::u16string_view text) {
  int columns = 0;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t character = NextCharacter(text, at);
    columns += IsSurrogate(character) ? 1 : ColumnsOf(character);
  }
  return columns;
}

// Counts the lines first, then the characters of the last line by their first bytes.
TextPlace PlaceInText(std::string_view text, std::size_t position) {
  TextPlace place;
  const std::string_view before = text.substr(0, position);
  std::size_t line_begin = 0;
  for (std::size_t at = before.find_first_of("\r\n"); at != std::string_view::npos;
       at = before.find_first_of("\r\n", line_begin)) {
    line_begin = before.substr(at).starts_with("\r\n") ? at + 2 : at + 1;
    ++place.line;
  }
  for (const char byte : before.substr(line_begin)) {
    if (!IsContinuation(byte)) ++place.column;
  }
  return place;
}

}  // namespace orvik
