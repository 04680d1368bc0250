#include "platform/core_foundation/property_list_equality.h"

#include <bit>
#include <cmath>
#include <cstdint>

#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/foundation/tree_equality.h"

namespace orvik {

namespace {

bool HaveSameBits(double one, double other) {
  return std::bit_cast<std::uint64_t>(one) == std::bit_cast<std::uint64_t>(other);
}

bool AreSameLeaves(const NSObject* one, const NSObject* other) {
  const CFTypeID type = one->typeID();
  if (type != other->typeID()) {
    return false;
  }
  if (type == CFNumberGetTypeID()) {
    const auto* number = static_cast<CFNumberRef>(one);
    const auto* other_number = static_cast<CFNumberRef>(other);
    if (number->isReal() && other_number->isReal()) {
      const double value = number->doubleValue(), other_value = other_number->doubleValue();
      return (std::isnan(value) && std::isnan(other_value)) || HaveSameBits(value, other_value);
    }
    return number->isReal() == other_number->isReal() && one->isEqual(other);
  }
  if (type == CFDateGetTypeID()) {
    return HaveSameBits(CFDateGetAbsoluteTime(static_cast<CFDateRef>(one)),
                        CFDateGetAbsoluteTime(static_cast<CFDateRef>(other)));
  }
  return one->isEqual(other);
}

}  // namespace

bool IsSameValue(CFTypeRef one, CFTypeRef other) {
  return AreEqualTrees(ObjectOf(one), ObjectOf(other), AreSameLeaves);
}

}  // namespace orvik
