// Matching of file names against a pattern with "*" and "?".
//
//   pattern   matches      does not match
//   *         every name
//   data?     data1        data
//   *.txt     a.txt        a.b.txt
#pragma once

#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// "?" matches any one unit, "*" the units up to the first one that equals the pattern's next
// (there is no second try behind it; before "?" it matches none; at the end for all the rest).
// Every other unit matches itself; case counts.
bool MatchesWildcard(std::u16string_view name, std::u16string_view pattern);

}  // namespace orvik
