// Case mapping, case folding and normalisation of plain text (The Unicode Standard, 3.11, 3.13).
//
// A mapping may change the length. Unpaired surrogates stay as they are. Nothing here fails: text
// too long for the mapping comes back unchanged.
#pragma once

#include <string>
#include <string_view>

#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

// By the rules of a locale ("tr_TR", "" for the root).
std::u16string ToUpper(std::u16string_view text, const char* locale);
std::u16string ToLower(std::u16string_view text, const char* locale);

// Full case folding, the same in every locale.
std::u16string FoldCase(std::u16string_view text);

std::u16string Normalize(std::u16string_view text, CFStringNormalizationForm form);

constexpr char16_t LowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

// -1, 0 or 1 by the code units of the folded texts.
int CompareFolded(std::u16string_view a, std::u16string_view b);

}  // namespace orvik
