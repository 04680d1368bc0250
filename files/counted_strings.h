// Strings with a length before them: counted strings (BSTR) and Pascal strings.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Counted strings: a 32-bit byte length, then the characters, then a 16-bit 0. A BSTR points at the
// first character; null means the empty string. Made and freed with this family alone.
//
// Null also when the length is negative or does not fit its 32 bits. A failing allocation throws.

using BSTR = char16_t*;

// n units copied from the source, or zeros when it is null.
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
// n bytes copied, or zeros when the source is null; an odd count ends within a character.
BSTR SysAllocStringByteLen(const char* source, int n);

// Frees *string and puts the new one there, which may have been a part of the old. FALSE for a null
// `string`.
BOOL SysReAllocString(BSTR* string, const char16_t* source);
BOOL SysReAllocStringLen(BSTR* string, const char16_t* source, int n);

void SysFreeString(BSTR string);
int SysStringLen(BSTR string);      // units
int SysStringByteLen(BSTR string);  // bytes

// Pascal strings: a length byte and at most 255 bytes, without terminator.

// Makes a Pascal string of the text (null is empty text) and returns its length. The target has
// room for 256 bytes. Only the low byte of a unit counts, and the text is cut after 255 units.
int CToPStr(unsigned char* target, const char* source);
int WideToPStr(unsigned char* target, const char16_t* source);

}  // namespace orvik
