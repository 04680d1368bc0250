#include "strings/case_in_place.h"

#include <type_traits>

#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/owned.h"
#include "strings/pieces.h"

namespace orvik {

void MapCaseInPlace(char16_t* units, std::size_t n, CaseMapping map, std::size_t limit) {
  if (n == 0) return;
  const Owned<std::remove_pointer_t<CFLocaleRef>> locale(CFLocaleCopyCurrent());
  while (n > 0) {
    const std::size_t piece = FirstPiece(std::u16string_view(units, n), limit);
    const auto length = static_cast<CFIndex>(piece);
    const Owned<std::remove_pointer_t<CFMutableStringRef>> string(
        CFStringCreateMutableWithExternalCharactersNoCopy(kCFAllocatorDefault, units, length,
                                                          length, kCFAllocatorNull));
    map(string.get(), locale.get());
    units += piece;
    n -= piece;
  }
}

}  // namespace orvik
