// Case mapping, case folding and the spellings of accented letters.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// Case mapping and case folding of plain text (The Unicode Standard, 3.13).
//
// A mapping may change the length. Unpaired surrogates stay as they are. Text that is too long for
// the mapping (2^30 units) comes back unchanged.

// Maps by the rules of a locale ("tr_TR", "" for the root).
std::u16string ToUpper(std::u16string_view text, const char* locale);
std::u16string ToLower(std::u16string_view text, const char* locale);

// Full case folding. In the Turkish and Azeri locales "I" folds to the dotless letter and "\u0130"
// to the dotted one; every other locale folds like the root.
std::u16string FoldCase(std::u16string_view text, const char* locale = "");
// Whether the locale folds "I" in this way: its language is "tr", "az", "tur" or "aze".
bool HasDotlessI(std::string_view locale);

// The lower case of an ASCII letter; every other unit unchanged.
constexpr char16_t LowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

// -1, 0 or 1 by the code units of the folded texts; the result is the same in every locale.
int CompareFolded(std::u16string_view a, std::u16string_view b);

// Composed and decomposed spelling of text (Unicode normalisation, UAX #15).

// The text with its accented letters composed (form C). Unpaired surrogates stay as they are. Text
// that is too long for the mapping (2^30 units) comes back unchanged.
std::u16string Composed(std::u16string_view text);

// The spellings of a text: sequences of Unicode characters that mean the same (canonical
// equivalence, Unicode standard annex 15), such as "é" as one character or as "e" and an accent.
//
// An unpaired surrogate counts as a character with one spelling. When memory runs out, the
// functions throw std::bad_alloc; they have no other failure.

// Whether the text has only one spelling. Also true of ASCII text, although the Kelvin sign, for
// instance, is equivalent to the letter K.
bool HasOneSpelling(std::u16string_view units);

// Calls `visit` with every other spelling. When there are more than `limit`, returns false and
// visits only some of them.
bool VisitOtherSpellings(std::u16string_view units, int limit,
                         const std::function<void(std::u16string_view)>& visit);

}  // namespace orvik
