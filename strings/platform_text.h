// What the string classes ask of the platform: texts in pieces that its strings can hold, case
// mapping, and descriptions of objects.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/core_foundation/string.h"

namespace orvik {

// Texts too long for one string of the platform go through it in pieces.

// How many units of the text make its first piece: at most `limit`, which is at least 2, without
// cutting a surrogate pair.
template <typename Unit>
std::size_t FirstPiece(std::basic_string_view<Unit> text, std::size_t limit) {
  if (text.size() <= limit) return text.size();
  return (static_cast<char32_t>(text[limit - 1]) & 0xFC00) == 0xD800 ? limit - 1 : limit;
}

// What compare(a, b) says of the first pieces that are not the same to it.
template <typename A, typename B, typename Comparison>
int CompareInPieces(std::basic_string_view<A> a, std::basic_string_view<B> b,
                    const Comparison& compare,
                    std::size_t limit = static_cast<std::size_t>(kMaximumStringLength)) {
  while (a.size() > limit || b.size() > limit) {
    const std::size_t piece = std::min(a.size() > limit ? FirstPiece(a, limit) : limit,
                                       b.size() > limit ? FirstPiece(b, limit) : limit);
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

// The text that "%@" shows of a platform object, for the formatter. `object` is a CFTypeRef, and
// not null.
std::u16string DescribeObject(const void* object);

}  // namespace orvik
