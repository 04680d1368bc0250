#include "text/direction.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

namespace orvik {
namespace {

bool HasRightToLeft(std::u16string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    UChar32 character = 0;
    U16_NEXT(text.data(), at, text.size(), character);
    const UCharDirection direction = u_charDirection(character);
    if (direction == U_RIGHT_TO_LEFT || direction == U_RIGHT_TO_LEFT_ARABIC) return true;
  }
  return false;
}

bool IsControl(char16_t unit) {
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 || unit == 0x2029;
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
    if (IsControl(unit) || ControlsDirection(unit)) {
      shown += NumberOf(unit);
    } else {
      shown += unit;
    }
  }
  if (!HasRightToLeft(shown) && !HasRightToLeft(sentence)) return shown;
  return kFirstStrongIsolate + shown + kPopDirectionalIsolate;
}

}  // namespace orvik
