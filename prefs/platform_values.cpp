#include "prefs/platform_values.h"

#include <vector>

#include "platform/core_foundation/number.h"

namespace orvik {

CAutoCFRelease<CFStringRef> PlatformString(const CAtlString& text) {
  return CAutoCFRelease<CFStringRef>(text.CreateCFStringRef(kCFAllocatorDefault));
}

CAutoCFRelease<CFTypeRef> PlatformNumber(int value) {
  return CAutoCFRelease<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &value));
}

CAutoCFRelease<CFMutableDictionaryRef> NewDictionary() {
  return CAutoCFRelease<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

CFMutableDictionaryRef AsMutable(CFTypeRef dictionary) {
  return static_cast<CFMutableDictionaryRef>(const_cast<void*>(dictionary));
}

void AppendNames(CFDictionaryRef dictionary, CAtlArray<CAtlString>& names) {
  std::vector<const void*> keys(static_cast<std::size_t>(CFDictionaryGetCount(dictionary)));
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
  for (const void* key : keys) {
    names.Add(CAtlString(static_cast<CFStringRef>(key)));
  }
}

}  // namespace orvik
