#include "strings/platform_text.h"

#include <type_traits>

#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace orvik {

void MapCaseInPlace(char16_t* units, std::size_t n, CaseMapping map, std::size_t limit) {
  if (n == 0) return;
  const Owned<std::remove_pointer_t<CFLocaleRef>> locale(CFLocaleCopyCurrent());
  while (n > 0) {
    const std::size_t piece = WholeUnits(std::u16string_view(units, n), limit);
    const auto length = static_cast<CFIndex>(piece);
    const Owned<std::remove_pointer_t<CFMutableStringRef>> string(
        CFStringCreateMutableWithExternalCharactersNoCopy(kCFAllocatorDefault, units, length,
                                                          length, kCFAllocatorNull));
    map(string.get(), locale.get());
    units += piece;
    n -= piece;
  }
}

std::u16string DescribeObject(const void* object) {
  const Owned<const NSString> text(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR(u"%@"), object));
  const CFIndex length = CFStringGetLength(text.get());
  std::u16string units(static_cast<std::size_t>(length), u'\0');
  if (length != 0) CFStringGetCharacters(text.get(), CFRangeMake(0, length), units.data());
  return units;
}

}  // namespace orvik
