#include "strings/case_in_place.h"

#include "platform/core_foundation/locale.h"

namespace orvik {

void MapCaseInPlace(char16_t* units, std::size_t n, void (*map)(CFMutableStringRef, CFLocaleRef)) {
  if (n == 0) return;
  const auto length = static_cast<CFIndex>(n);
  const CFMutableStringRef string = CFStringCreateMutableWithExternalCharactersNoCopy(
      kCFAllocatorDefault, units, length, length, kCFAllocatorNull);
  if (string == nullptr) return;
  const CFLocaleRef locale = CFLocaleCopyCurrent();
  map(string, locale);
  CFRelease(locale);
  CFRelease(string);
}

}  // namespace orvik
