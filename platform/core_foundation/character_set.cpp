#include "platform/core_foundation/character_set.h"

#include "platform/foundation/string.h"

namespace orvik {

NSCharacterSet::NSCharacterSet(std::u16string_view units) {
  for (const char16_t unit : units) {
    if (unit < 256) {
      low_[unit] = true;
      continue;
    }
    if (high_ == nullptr) high_ = std::make_unique<std::bitset<65536>>();
    (*high_)[unit] = true;
  }
}

CFTypeID NSCharacterSet::TypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

bool NSCharacterSet::isEqual(const NSObject* other) const {
  if (other == nullptr || other->typeID() != TypeID()) return false;
  const auto* set = static_cast<const NSCharacterSet*>(other);
  if (low_ != set->low_ || (high_ == nullptr) != (set->high_ == nullptr)) return false;
  return high_ == nullptr || *high_ == *set->high_;
}

CFHashCode NSCharacterSet::hash() const {
  return std::hash<std::bitset<256>>()(low_);
}

NSObject* NSCharacterSet::copy() const {
  return const_cast<NSCharacterSet*>(Retained(this));
}

CFTypeID CFCharacterSetGetTypeID() {
  return NSCharacterSet::TypeID();
}

CFCharacterSetRef CFCharacterSetCreateWithCharactersInString(CFAllocatorRef,
                                                             const NSString* string) {
  if (string == nullptr) return nullptr;
  return string->isLatin1() ? new NSCharacterSet(string->ToUnits())
                            : new NSCharacterSet(string->wide());
}

Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef set, UniChar unit) {
  return set->contains(unit);
}

}  // namespace orvik
