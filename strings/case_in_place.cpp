#include "strings/case_in_place.h"

#include "platform/core_foundation/locale.h"
#include "strings/pieces.h"

namespace orvik {

void MapCaseInPlace(char16_t* units, std::size_t n, CaseMapping map, std::size_t limit) {
  if (n == 0) return;
  const CFLocaleRef locale = CFLocaleCopyCurrent();
  while (n > 0) {
    const std::size_t piece = FirstPiece(std::u16string_view(units, n), limit);
    const auto length = static_cast<CFIndex>(piece);
    const CFMutableStringRef string = CFStringCreateMutableWithExternalCharactersNoCopy(
        kCFAllocatorDefault, units, length, length, kCFAllocatorNull);
    map(string, locale);
    CFRelease(string);
    units += piece;
    n -= piece;
  }
  CFRelease(locale);
}

}  // namespace orvik
