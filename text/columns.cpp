#include "text/columns.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

namespace orvik {

int ColumnsOf(char32_t character) {
  if (character >= 0x20 && character < 0x7F) return 1;
  const auto code_point = static_cast<UChar32>(character);
  constexpr uint32_t kNoRoom = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK | U_GC_CC_MASK;
  constexpr char32_t kSoftHyphen = 0xAD;  // a format character that terminals show
  if ((U_MASK(u_charType(code_point)) & kNoRoom) != 0) return character == kSoftHyphen ? 1 : 0;
  const int width = u_getIntPropertyValue(code_point, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

int ColumnsOf(std::u16string_view text) {
  int columns = 0;
  for (std::size_t at = 0; at < text.size();) {
    UChar32 character = 0;
    U16_NEXT(text.data(), at, text.size(), character);
    columns += U_IS_SURROGATE(character) ? 1 : ColumnsOf(static_cast<char32_t>(character));
  }
  return columns;
}

}  // namespace orvik
