// Wide strings from and to UTF-8 and code-page text.
//
// The first three do not report errors: a text that cannot be converted gives an empty string. 0
// units inside a text are converted like any other. The functions keep no state and may be called
// from any thread.
#pragma once

#include <cstddef>
#include <optional>

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/unicode_conversions.h"

namespace [[gnu::visibility("default")]] orvik {

// Text in code page 0 to UTF-16.
CAtlString MakeWideStringFromASCIIString(const CAtlStringA& text);

// UTF-8 (RFC 3629) to UTF-16.
CAtlString MakeWideStringFromUTF8String(const CAtlStringA& text);

// UTF-16 to UTF-8; an unpaired surrogate becomes "?".
CAtlStringA MakeUTF8StringFromUnicodeString(const CAtlString& text);

// Conversions that report an unconvertible character and its position.
//
// Each replaces the target by the converted text and reports conversionOK. On failure the target
// stays as it was, and the report gives the reason and the position in units of the source. 0 units
// inside the source are converted like any other; a null source is an empty text. Too little memory
// throws, as it does for any string.

struct ConversionReport {
  // sourceIllegal: the unit at the position is malformed, an unpaired surrogate, or belongs to a
  // character that the target's encoding lacks. sourceExhausted: the source ends within the
  // character there.
  ConversionResult status = conversionOK;
  // In units from the start of the source; the length of the source if all was converted.
  std::size_t position = 0;

  explicit operator bool() const { return status == conversionOK; }
};

// UTF-8 (RFC 3629) and UTF-16 into one another.
[[nodiscard]] ConversionReport WideFromUtf8(TextView<char> source, CAtlString& target);
[[nodiscard]] ConversionReport Utf8FromWide(TextView<char16_t> source, CAtlStringA& target);

// UTF-16 to encodings of one byte per character.
[[nodiscard]] ConversionReport Latin1FromWide(TextView<char16_t> source, CAtlStringA& target);
[[nodiscard]] ConversionReport MacRomanFromWide(TextView<char16_t> source, CAtlStringA& target);

// Text in a Windows code page (code_pages.h). For a code page that the platform does not know the
// result is empty and the target stays as it was. If bytes are invalid in the code page, the
// report's position is 0; only for UTF-8 is it exact.
[[nodiscard]] std::optional<ConversionReport> WideFromCodePage(unsigned int code_page,
                                                               TextView<char> source,
                                                               CAtlString& target);
[[nodiscard]] std::optional<ConversionReport> CodePageFromWide(unsigned int code_page,
                                                               TextView<char16_t> source,
                                                               CAtlStringA& target);

}  // namespace orvik
