// Wide strings from and to UTF-8 and code-page text.
//
// The first three fail without a word: a text that cannot be converted gives an empty string. 0
// units inside a text are converted like any other. No function keeps a state, so all may be called
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

// Conversions that say what could not be converted, and where.
//
// Each replaces the target by the converted text and reports conversionOK. If something cannot be
// converted the target stays as it was, and the report says why and at which unit of the source. 0
// units inside the source are converted like any other; a null source is an empty text. Too little
// memory throws, as it does for any string.

struct ConversionReport {
  // sourceIllegal: what is at the position is malformed, an unpaired surrogate, or a character that
  // the target's encoding lacks. sourceExhausted: the source ends within the character there.
  ConversionResult status = conversionOK;
  // In units of the source, from its start: its length when all was converted.
  std::size_t position = 0;

  explicit operator bool() const { return status == conversionOK; }
};

// UTF-8 (RFC 3629) and UTF-16 into one another.
[[nodiscard]] ConversionReport WideFromUtf8(TextView<char> source, CAtlString& target);
[[nodiscard]] ConversionReport Utf8FromWide(TextView<char16_t> source, CAtlStringA& target);

// UTF-16 to bytes of one character each.
[[nodiscard]] ConversionReport Latin1FromWide(TextView<char16_t> source, CAtlStringA& target);
[[nodiscard]] ConversionReport MacRomanFromWide(TextView<char16_t> source, CAtlStringA& target);

// Text in a Windows code page (code_pages.h). Nothing, and the target as it was, for a code page
// that the platform does not know. The report on bytes that the code page cannot have written has
// the position 0, unless they are UTF-8.
[[nodiscard]] std::optional<ConversionReport> WideFromCodePage(unsigned int code_page,
                                                               TextView<char> source,
                                                               CAtlString& target);
[[nodiscard]] std::optional<ConversionReport> CodePageFromWide(unsigned int code_page,
                                                               TextView<char16_t> source,
                                                               CAtlStringA& target);

}  // namespace orvik
