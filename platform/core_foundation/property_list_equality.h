// Whether two property lists would be written alike.
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

// Stricter than CFEqual: an integer and a real of one value differ, so do 0.0 and -0.0, at any
// depth. Reals that are not a number are all the same, because XML has one of them; dates are the
// same by their bits. Null is the same as null alone. In time proportional to the smaller of the
// two, and without recursion.
bool IsSameValue(CFTypeRef one, CFTypeRef other);

}  // namespace orvik
