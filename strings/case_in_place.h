// Case mapping under the current locale over a caller's units.
#pragma once

#include <cstddef>

#include "platform/core_foundation/string.h"

namespace orvik {

using CaseMapping = void (*)(CFMutableStringRef, CFLocaleRef);

// Maps the n units with CFStringUppercase or CFStringLowercase; a longer result is cut at n. More
// than `limit` units are mapped in pieces of at most that many, each cut on its own.
void MapCaseInPlace(char16_t* units, std::size_t n, CaseMapping map,
                    std::size_t limit = static_cast<std::size_t>(kMaximumStringLength));

}  // namespace orvik
