#include "strings/platform_text.h"
#include "strings/auto_release.h"

#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/string.h"

namespace orvik {

void MapCaseInPlace(char16_t* units, std::size_t n, CaseMapping map, std::size_t limit) {
  if (n == 0) return;
  const CAutoCFRelease<CFLocaleRef> locale(CFLocaleCopyCurrent());
  while (n > 0) {
    const std::size_t piece = WholeUnits(std::u16string_view(units, n), limit);
    const auto length = static_cast<CFIndex>(piece);
    const CAutoCFRelease<CFMutableStringRef> string(
        CFStringCreateMutableWithExternalCharactersNoCopy(kCFAllocatorDefault, units, length,
                                                          length, kCFAllocatorNull));
    map(string, locale);
    units += piece;
    n -= piece;
  }
}

std::u16string DescribeObject(const void* object) {
  const CAutoCFRelease<CFStringRef> text(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR(u"%@"), object));
  const CFIndex length = CFStringGetLength(text);
  std::u16string units(static_cast<std::size_t>(length), u'\0');
  if (length != 0) CFStringGetCharacters(text, CFRangeMake(0, length), units.data());
  return units;
}

}  // namespace orvik
