// Sets of UTF-16 code units.
#pragma once

#include <bitset>
#include <memory>
#include <string_view>

#include "platform/foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

class NSCharacterSet final : public NSObject {
 public:
  explicit NSCharacterSet(std::u16string_view units);

  bool contains(char16_t unit) const {
    return unit < 256 ? low_[unit] : high_ != nullptr && (*high_)[unit];
  }

  static CFTypeID TypeID();
  CFTypeID typeID() const override { return TypeID(); }
  bool isEqual(const NSObject* other) const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;

 private:
  std::bitset<256> low_;
  std::unique_ptr<std::bitset<65536>> high_;  // only when the set has units above 255
};

using CFCharacterSetRef = const NSCharacterSet*;

CFTypeID CFCharacterSetGetTypeID();

// The caller owns the result; null for a null string.
CFCharacterSetRef CFCharacterSetCreateWithCharactersInString(CFAllocatorRef allocator,
                                                             const NSString* string);

Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef set, UniChar unit);

}  // namespace orvik
