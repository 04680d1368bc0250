// How much room characters take where every character cell is alike, as on a terminal.
#pragma once

#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// Columns of one character (Unicode Standard Annex #11): 2 for wide and full-width characters, 0
// for combining marks and format characters, otherwise 1. Control characters count as 0.
int ColumnsOf(char32_t character);

// Columns of a text; an unpaired surrogate counts as 1.
int ColumnsOf(std::u16string_view text);

}  // namespace orvik
