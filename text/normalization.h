// Composed and decomposed spelling of text (Unicode normalisation, UAX #15).
#pragma once

#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// The text with its accented letters composed (form C). Unpaired surrogates stay as they are. Text
// that is too long for the mapping (2^30 units) comes back unchanged.
std::u16string Composed(std::u16string_view text);

}  // namespace orvik
