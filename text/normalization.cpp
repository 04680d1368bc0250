#include "text/normalization.h"

#include <unicode/unorm2.h>

#include "text/icu_mapping.h"
#include "text/transcoding.h"

namespace orvik {

std::u16string Composed(std::u16string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* const form = unorm2_getNFCInstance(&status);
  if (U_FAILURE(status) || IsAscii(text)) return std::u16string(text);
  return MappedByIcu(text, [&](UChar* target, int32_t room, const UChar* source, int32_t length,
                               UErrorCode* error) {
    return unorm2_normalize(form, source, length, target, room, error);
  });
}

}  // namespace orvik
