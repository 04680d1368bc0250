#include "platform/core_foundation/property_list_equality.h"

#include <bit>
#include <cstdint>
#include <vector>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/number.h"

namespace orvik {

namespace {

bool AreSameNumbers(CFNumberRef one, CFNumberRef other) {
  const bool real = CFNumberIsFloatType(one) != 0;
  if (real != (CFNumberIsFloatType(other) != 0)) {
    return false;
  }
  if (!real) {
    return CFEqual(one, other) != 0;
  }
  double a = 0, b = 0;
  CFNumberGetValue(one, kCFNumberDoubleType, &a);
  CFNumberGetValue(other, kCFNumberDoubleType, &b);
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool AreSameArrays(CFArrayRef one, CFArrayRef other) {
  const CFIndex count = CFArrayGetCount(one);
  if (count != CFArrayGetCount(other)) {
    return false;
  }
  for (CFIndex i = 0; i < count; ++i) {
    if (!IsSameValue(CFArrayGetValueAtIndex(one, i), CFArrayGetValueAtIndex(other, i))) {
      return false;
    }
  }
  return true;
}

bool AreSameDictionaries(CFDictionaryRef one, CFDictionaryRef other) {
  const CFIndex count = CFDictionaryGetCount(one);
  if (count != CFDictionaryGetCount(other)) {
    return false;
  }
  std::vector<const void*> names(static_cast<std::size_t>(count));
  std::vector<const void*> values(names.size());
  CFDictionaryGetKeysAndValues(one, names.data(), values.data());
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!IsSameValue(values[i], CFDictionaryGetValue(other, names[i]))) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool IsSameValue(CFTypeRef one, CFTypeRef other) {
  if (one == other) {
    return true;
  }
  if (one == nullptr || other == nullptr || CFGetTypeID(one) != CFGetTypeID(other)) {
    return false;
  }
  const CFTypeID type = CFGetTypeID(one);
  if (type == CFNumberGetTypeID()) {
    return AreSameNumbers(static_cast<CFNumberRef>(one), static_cast<CFNumberRef>(other));
  }
  if (type == CFArrayGetTypeID()) {
    return AreSameArrays(static_cast<CFArrayRef>(one), static_cast<CFArrayRef>(other));
  }
  if (type == CFDictionaryGetTypeID()) {
    return AreSameDictionaries(static_cast<CFDictionaryRef>(one),
                               static_cast<CFDictionaryRef>(other));
  }
  return CFEqual(one, other) != 0;
}

}  // namespace orvik
