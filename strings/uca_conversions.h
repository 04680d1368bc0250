// Arrays from and to 8-bit text (ISO 8859-1) and 32-bit wide characters (UTF-32).
//
// What a "make" function returns was allocated with new[] and belongs to the caller (delete[], or
// freeWCA32Str); null for a null argument. An unpaired surrogate or an illegal value ends a
// conversion before it; the rest of the result is 0.
#pragma once

#include "strings/unicode_conversions.h"

namespace [[gnu::visibility("default")]] orvik {

char16_t* makeUCAFromCA(const char* text);
// Null for an empty array. Units above 255 become "?".
char* makeCAFromUCA(const char16_t* text);
// ucalen + 1 elements.
wchar_t* makeWCA32FromUCA(const char16_t* text);
// wcslen + 1 units: when characters above U+FFFF leave too little room, the text ends early.
char16_t* makeUCAFromWCA32(const wchar_t* text);
void freeWCA32Str(wchar_t* text);

// n elements into room for n; the result of the conversion, or n itself when n < 1. Writes no
// terminator.
int UCAtoWCA32(const char16_t* source, wchar_t* target, int n);
int WCA32toUCA(const wchar_t* source, char16_t* target, int n);

}  // namespace orvik
