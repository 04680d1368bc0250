// The spellings of a text: sequences of Unicode characters that mean the same (canonical
// equivalence, Unicode standard annex 15), such as "é" as one character or as "e" and an accent.
//
// Unpaired surrogates are taken as characters that have no other spelling. Nothing here fails but
// for want of memory.
#pragma once

#include <functional>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// Whether no other text than this one is equal to it. Also true of ASCII text, although the Kelvin
// sign, for instance, is equal to the letter K.
bool HasOneSpelling(std::u16string_view units);

// Calls `visit` with every other spelling. False, and not all of them visited, when there are more
// than `limit`.
bool VisitOtherSpellings(std::u16string_view units, int limit,
                         const std::function<void(std::u16string_view)>& visit);

}  // namespace orvik
