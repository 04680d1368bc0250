// The services of the platform for the string classes: texts in pieces that its strings can hold,
// case mapping, and descriptions of objects.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/core_foundation/string.h"
#include "text/characters.h"

namespace orvik {

// Texts too long for one string of the platform go through it in pieces.

// The result of compare(a, b) for the first pieces that compare as different.
template <typename A, typename B, typename Comparison>
int CompareInPieces(std::basic_string_view<A> a, std::basic_string_view<B> b,
                    const Comparison& compare,
                    std::size_t limit = static_cast<std::size_t>(kMaximumStringLength)) {
  while (a.size() > limit || b.size() > limit) {
    const std::size_t piece = std::min(a.size() > limit ? WholeUnits(a, limit) : limit,
                                       b.size() > limit ? WholeUnits(b, limit) : limit);
    const int order = compare(a.substr(0, piece), b.substr(0, piece));
    if (order != 0) return order;
    a.remove_prefix(std::min(piece, a.size()));
    b.remove_prefix(std::min(piece, b.size()));
  }
  return compare(a, b);
}

using CaseMapping = void (*)(CFMutableStringRef, CFLocaleRef);

// Maps the n units with CFStringUppercase or CFStringLowercase; a longer result is cut at n. More
// than `limit` units are mapped in pieces of at most that many, each cut on its own.
void MapCaseInPlace(char16_t* units, std::size_t n, CaseMapping map,
                    std::size_t limit = static_cast<std::size_t>(kMaximumStringLength));

// The text that "%@" shows for a platform object, for the formatter. `object` is a CFTypeRef and
// not null.
std::u16string DescribeObject(const void* object);

}  // namespace orvik
