// Calls of the Unicode library that map one text to another.
#pragma once

#include <unicode/utypes.h>

#include <string>
#include <string_view>

namespace orvik {

// Beyond this many units a result might not be counted in 32 bits.
inline constexpr size_t kLongestMapped = 0x3FFFFFFF;

// Calls the mapping until its result fits. Text that cannot be mapped comes back unchanged.
template <class Map>
std::u16string MappedByIcu(std::u16string_view text, const Map& map) {
  if (text.size() > kLongestMapped) return std::u16string(text);
  std::u16string result(text.size() + text.size() / 8 + 8, u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = map(result.data(), static_cast<int32_t>(result.size()), text.data(),
                               static_cast<int32_t>(text.size()), &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::u16string(text);
    const bool fits = status != U_BUFFER_OVERFLOW_ERROR;
    result.resize(static_cast<size_t>(length));
    if (fits) return result;
  }
}

}  // namespace orvik
