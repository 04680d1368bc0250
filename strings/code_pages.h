// Text in Windows code pages from and to UTF-16.
//
// Source length -1 means up to the terminator, which is neither counted nor written. A null source,
// a length of 0 or below -1, and a text too long for the result give 0. Code page 65001 is UTF-8;
// so is every code page that the platform does not know. Flags are ignored.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr unsigned int CP_ACP = 0;
inline constexpr unsigned int CP_UTF8 = 65001;

// Whether the platform knows the code page: another is taken for UTF-8 by the two functions below.
// utf8_strings.h has conversions that report it, and every loss.
BOOL IsValidCodePage(unsigned int code_page);

// The number of bytes produced; with target length 0 nothing is written and the number of bytes
// needed is the result. Too little room holds as many whole characters as fit. What the code page
// lacks, an unpaired surrogate too, becomes "?". `used_default`, given together with
// `default_character`, is set to FALSE, and never to TRUE.
int WideCharToMultiByte(unsigned int code_page, unsigned long flags, const char16_t* source,
                        int source_length, char* target, int target_length,
                        const char* default_character, BOOL* used_default);

// The number of units produced, cut at the target length; with target length 0 nothing is written
// and the number of units the text needs is the result. Bytes that are not text of the code
// page give 0.
int MultiByteToWideChar(unsigned int code_page, unsigned long flags, const char* source,
                        int source_length, char16_t* target, int target_length);

}  // namespace orvik
