// The ATL text conversions. 8-bit text is ASCII here.
#pragma once

namespace [[gnu::visibility("default")]] orvik {

// The UTF-16 form of the text's first n bytes and a terminator, n + 1 units at most. Empty when a
// byte is not ASCII and for a null source. Returns the target.
char16_t* AtlA2WHelper(char16_t* target, const char* source, int n);
// The ASCII form of n units and a terminator, in at most 2n + 2 bytes. Empty when a unit is not
// ASCII and for a null source. Returns the target.
char* AtlW2AHelper(char* target, const char16_t* source, int n);

// A new array (malloc) of n units, the text's first n bytes in UTF-16 filled up with 0 units, and a
// terminator; null on failure.
char16_t* A2WBSTR(const char* text, int n);
char16_t* A2WBSTR(const char* text);
char16_t* A2BSTR(const char* text);

// All wide text is of one kind: these return their argument, with its constness.
struct SameText {
  constexpr const char16_t* operator()(const char16_t* text) const { return text; }
  constexpr char16_t* operator()(char16_t* text) const { return text; }
};
inline constexpr SameText T2COLE, OLE2CT, W2COLE, OLE2CW, T2CW, W2CT, T2OLE, OLE2T, W2OLE, OLE2W,
    T2W, W2T;

// ucalen, ucacpy and ucacat under their names of ATL.
int ocslen(const char16_t* text);
char16_t* ocscpy(char16_t* target, const char16_t* source);
char16_t* ocscat(char16_t* target, const char16_t* source);

}  // namespace orvik
