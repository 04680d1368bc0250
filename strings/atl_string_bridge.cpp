// Both string classes from and to platform strings.
#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace orvik {

namespace {

CFIndex LengthOf(CFStringRef text) {
  return text == nullptr ? 0 : CFStringGetLength(text);
}

}  // namespace

CAtlString::CAtlString(CFStringRef text) {
  *this = text;
}

CAtlString& CAtlString::operator=(CFStringRef text) {
  const CFIndex length = LengthOf(text);
  if (length == 0) {
    Empty();
  } else {
    CFStringGetCharacters(text, CFRangeMake(0, length),
                          AssignBuffer(static_cast<std::size_t>(length)));
  }
  return *this;
}

CFStringRef CAtlString::CreateCFStringRef(CFAllocatorRef allocator) const {
  return CFStringCreateWithCharacters(allocator, GetString(), GetLength());
}

CAtlString::operator CFStringRef() const {
  return CFStringCreateWithCharactersNoCopy(kCFAllocatorDefault, GetString(), GetLength(),
                                            kCFAllocatorNull);
}

CAtlStringA::CAtlStringA(CFStringRef text) {
  *this = text;
}

CAtlStringA& CAtlStringA::operator=(CFStringRef text) {
  const CFIndex length = LengthOf(text);
  if (length == 0) {
    Empty();
    return *this;
  }
  // In a block of its own first: the platform may run out of memory halfway.
  CAtlStringA converted;
  char* const bytes = converted.GetBuffer(static_cast<int>(length));
  CFIndex used = 0;
  CFStringGetBytes(text, CFRangeMake(0, length), kCFStringEncodingMacRoman, '?', false,
                   reinterpret_cast<UInt8*>(bytes), length, &used);
  converted.ReleaseBuffer(static_cast<int>(used));
  Assign(converted.View());
  return *this;
}

CFStringRef CAtlStringA::CreateCFStringRef(CFAllocatorRef allocator) const {
  return CFStringCreateWithCString(allocator, GetString(), kCFStringEncodingMacRoman);
}

}  // namespace orvik
