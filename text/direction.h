// Names inside sentences that are read by people: a name must not change how the sentence around
// it, or the name itself, is read (Unicode Standard Annex #9; Unicode Technical Report #36,
// section 2.8).
#pragma once

#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// Embedding and override controls, U+202A to U+202E.
constexpr bool OverridesDirection(char16_t unit) {
  return unit >= 0x202A && unit <= 0x202E;
}

// Those, the isolate controls U+2066 to U+2069 and the marks U+200E, U+200F, U+061C.
constexpr bool ControlsDirection(char16_t unit) {
  return OverridesDirection(unit) || (unit >= 0x2066 && unit <= 0x2069) || unit == 0x200E ||
         unit == 0x200F || unit == 0x061C;
}

// The name as it goes into the sentence:
//
//   a control character, a direction control         "[U+202E]", its number
//   a name or a sentence with right-to-left text     surrounded by U+2068 and U+2069 (an isolate)
//   every other name                                 unchanged
std::u16string NameForSentence(std::u16string_view name, std::u16string_view sentence);

}  // namespace orvik
