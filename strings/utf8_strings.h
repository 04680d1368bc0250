// Wide strings from and to UTF-8 and code-page text.
//
// None fails visibly: a text that cannot be converted gives an empty string. 0 units inside the
// text are converted like any other. Stateless.
#pragma once

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace [[gnu::visibility("default")]] orvik {

// Text in code page 0 to UTF-16.
CAtlString MakeWideStringFromASCIIString(const CAtlStringA& text);

// UTF-8 (RFC 3629) to UTF-16.
CAtlString MakeWideStringFromUTF8String(const CAtlStringA& text);

// UTF-16 to UTF-8; an unpaired surrogate becomes "?".
CAtlStringA MakeUTF8StringFromUnicodeString(const CAtlString& text);

}  // namespace orvik
