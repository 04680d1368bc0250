#include "strings/object_text.h"

#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/string.h"

namespace orvik {

std::u16string DescribeObject(const void* object) {
  const Owned<const NSString> text(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR(u"%@"), object));
  const CFIndex length = CFStringGetLength(text.get());
  std::u16string units(static_cast<std::size_t>(length), u'\0');
  if (length != 0) CFStringGetCharacters(text.get(), CFRangeMake(0, length), units.data());
  return units;
}

}  // namespace orvik
