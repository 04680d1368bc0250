// The ATL text conversions. 8-bit text is ASCII here.
#pragma once

namespace [[gnu::visibility("default")]] orvik {

// Writes the first n bytes of `source` as UTF-16 and a terminator to `target`: at most n + 1 units.
// Writes an empty text for a null source and when a byte is not ASCII. Returns the target.
char16_t* AtlA2WHelper(char16_t* target, const char* source, int n);
// Writes n units of `source` as ASCII and a terminator to `target`: at most 2n + 2 bytes. Writes an
// empty text for a null source and when a unit is not ASCII. Returns the target.
char* AtlW2AHelper(char* target, const char16_t* source, int n);

// Returns a new array (malloc) of n units and a terminator: the first n bytes of the text as
// UTF-16, padded with 0 units. Null on failure.
char16_t* A2WBSTR(const char* text, int n);
char16_t* A2WBSTR(const char* text);
char16_t* A2BSTR(const char* text);

// There is only one kind of wide text: these return their argument, with its constness.
struct SameText {
  constexpr const char16_t* operator()(const char16_t* text) const { return text; }
  constexpr char16_t* operator()(char16_t* text) const { return text; }
};
inline constexpr SameText T2COLE, OLE2CT, W2COLE, OLE2CW, T2CW, W2CT, T2OLE, OLE2T, W2OLE, OLE2W,
    T2W, W2T;

// ucalen, ucacpy and ucacat under their ATL names.
int ocslen(const char16_t* text);
char16_t* ocscpy(char16_t* target, const char16_t* source);
char16_t* ocscat(char16_t* target, const char16_t* source);

}  // namespace orvik
