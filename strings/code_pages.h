// Text in Windows code pages from and to UTF-16.
//
// Source length -1 means up to the terminator, which is neither counted nor written. A null source,
// a length of 0 or below -1, and a text too long for the result give 0. Code page 65001 is UTF-8;
// an unknown code page is treated as UTF-8. Flags are ignored.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr unsigned int CP_ACP = 0;
inline constexpr unsigned int CP_UTF8 = 65001;

// Whether the platform knows the code page. The two functions below treat an unknown one as UTF-8;
// the conversions of utf8_strings.h report it, and every loss.
BOOL IsValidCodePage(unsigned int code_page);

// Returns the number of bytes produced. With a null target or target length 0 nothing is written
// and the result is the number of bytes needed. A target that is too small gets as many whole
// characters as fit. Characters that the code page lacks and unpaired surrogates become "?".
// `used_default`, given together with `default_character`, is always set to FALSE.
int WideCharToMultiByte(unsigned int code_page, unsigned long flags, const char16_t* source,
                        int source_length, char* target, int target_length,
                        const char* default_character, BOOL* used_default);

// Returns the number of units produced, cut at the target length. With a null target or target
// length 0 nothing is written and the result is the number of units needed. Bytes that are invalid
// in the code page give 0.
int MultiByteToWideChar(unsigned int code_page, unsigned long flags, const char* source,
                        int source_length, char16_t* target, int target_length);

}  // namespace orvik
