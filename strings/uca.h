// Zero-terminated arrays of UTF-16 code units (UCA), the counterpart of libc's <string.h>.
//
// No function looks at surrogate pairs; all counts are code units; targets must be large enough.
// A null array is taken as an empty one where nothing is written to it.
#pragma once

#include "text/transcoding.h"  // WidenLatin1, NarrowLatin1

namespace [[gnu::visibility("default")]] orvik {

// Units before the terminator.
int ucalen(const char16_t* text);

char16_t* ucacpy(char16_t* target, const char16_t* source);
// Exactly n units: a shorter source is filled up with 0 units, a longer one leaves no terminator.
char16_t* ucancpy(char16_t* target, const char16_t* source, int n);
char16_t* ucacat(char16_t* target, const char16_t* source);
// Appends at most n units and a terminator.
char16_t* ucancat(char16_t* target, const char16_t* source, int n);

char16_t* ucareverse(char16_t* text);
// Under the current locale; the length stays, what would be longer is cut at it.
char16_t* ucaupr(char16_t* text);
char16_t* ucalwr(char16_t* text);

// The first literal occurrence of sub, or null; the text itself for a null or empty sub.
char16_t* ucastr(char16_t* text, const char16_t* sub);
const char16_t* ucastr(const char16_t* text, const char16_t* sub);

// Leading white space, a sign and digits; 0 when there are none.
int ucatoi(const char16_t* text);
double ucatof(const char16_t* text);

// "0" to "9", and no other digit of Unicode.
constexpr bool isucdigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

// Order in the current locale's collation: below, equal to or above 0; 0 also when it fails.
int ucacmp(const char16_t* a, const char16_t* b);
int ucacoll(const char16_t* a, const char16_t* b);
int ucaicmp(const char16_t* a, const char16_t* b);
int ucaicoll(const char16_t* a, const char16_t* b);
// Exactly the first n units of both.
int ucancmp(const char16_t* a, const char16_t* b, int n);
int ucancoll(const char16_t* a, const char16_t* b, int n);
int ucanicmp(const char16_t* a, const char16_t* b, int n);
int ucanicoll(const char16_t* a, const char16_t* b, int n);

// The value in radix 10 (signed), 16 (lower-case) or 8; null for another radix.
char16_t* itouca(int value, char16_t* buffer, int radix);

// The code unit of the byte's value (ISO 8859-1).
constexpr char16_t makeUCHFromCH(char byte) {
  return static_cast<unsigned char>(byte);
}

// Widens n bytes, fewer when the terminator comes first; writes no terminator.
void CAtoUCA(const char* source, char16_t* target, int n);
// Narrows n units, those above 255 to "?", and writes a terminator at target[n]; nothing for n < 1.
void UCAtoCA(const char16_t* source, char* target, int n);

}  // namespace orvik
