// Strings with a length before them: counted strings (BSTR) and Pascal strings.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Counted strings: a 32-bit byte length, then the characters, then a 16-bit 0. A BSTR points at the
// first character; null means the empty string. Only these functions make and free one.
//
// The result is also null when the length is negative or does not fit in 32 bits. A failing
// allocation throws.

using BSTR = char16_t*;

// A string of n units copied from the source, or of n zeros when it is null.
BSTR SysAllocStringLen(const char16_t* source, int n);
// Null for a null source.
BSTR SysAllocString(const char16_t* source);
inline BSTR W2BSTR(const char16_t* source) {
  return SysAllocString(source);
}
inline BSTR T2BSTR(const char16_t* source) {
  return SysAllocString(source);
}
inline BSTR OLE2BSTR(const char16_t* source) {
  return SysAllocString(source);
}
// A string of n bytes copied from the source, or of zeros when it is null; an odd count ends within
// a character.
BSTR SysAllocStringByteLen(const char* source, int n);

// Replaces *string by a new string and frees the old one; `source` may be a part of it. FALSE for a
// null `string`.
BOOL SysReAllocString(BSTR* string, const char16_t* source);
BOOL SysReAllocStringLen(BSTR* string, const char16_t* source, int n);

void SysFreeString(BSTR string);
int SysStringLen(BSTR string);      // units
int SysStringByteLen(BSTR string);  // bytes

// Pascal strings: a length byte and at most 255 bytes, without terminator.

// Write the text (null counts as empty) as a Pascal string and return its length. The target has
// room for 256 bytes. Only the low byte of a unit is kept, and the text is cut after 255 units.
int CToPStr(unsigned char* target, const char* source);
int WideToPStr(unsigned char* target, const char16_t* source);

}  // namespace orvik
