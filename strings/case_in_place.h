// Case mapping under the current locale over a caller's units.
#pragma once

#include <cstddef>

#include "platform/core_foundation/string.h"

namespace orvik {

// Maps the n units with CFStringUppercase or CFStringLowercase; a longer result is cut at n.
void MapCaseInPlace(char16_t* units, std::size_t n, void (*map)(CFMutableStringRef, CFLocaleRef));

}  // namespace orvik
