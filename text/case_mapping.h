// Case mapping and case folding of plain text (The Unicode Standard, 3.13).
//
// A mapping may change the length. Unpaired surrogates stay as they are. Nothing here fails: text
// that is too long for the mapping (2^30 units) comes back unchanged.
#pragma once

#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// By the rules of a locale ("tr_TR", "" for the root).
std::u16string ToUpper(std::u16string_view text, const char* locale);
std::u16string ToLower(std::u16string_view text, const char* locale);

// Full case folding. In the locales of Turkish and Azeri "I" goes with the dotless and "\u0130"
// with the dotted letter; any other locale folds like the root.
std::u16string FoldCase(std::u16string_view text, const char* locale = "");
bool HasDotlessI(std::string_view locale);

constexpr char16_t LowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

// -1, 0 or 1 by the code units of the folded texts, the same in every locale.
int CompareFolded(std::u16string_view a, std::u16string_view b);

}  // namespace orvik
