// UTF-8, UTF-16 and UTF-32 into one another, in caller-owned ranges (The Unicode Standard, 3.9).
//
// Each routine takes the source start by reference, the source end, the target start by reference,
// the target end and a flag, and advances both starts over what it converted:
//
//   conversionOK     the source is used up
//   sourceExhausted  the source ends within a character; both starts are before it
//   targetExhausted  the next character does not fit; both starts are before it
//   sourceIllegal    the next character is illegal; both starts are before it
//
// Strict: an unpaired surrogate and an illegal value are sourceIllegal. Lenient: an unpaired
// surrogate in UTF-16 is passed on as its own value, as is a surrogate from UTF-32 to UTF-8; a
// value that the target form cannot represent (other surrogates, values above U+10FFFF) becomes
// U+FFFD. ConvertUTF32toUTF8 continues after such a value and reports sourceIllegal at the end. A
// source in UTF-8 must pass isLegalUTF8 under either flag; encoded surrogates do.
#pragma once

#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {

using UTF32 = std::uint32_t;
using UTF16 = char16_t;
using UTF8 = unsigned char;

enum ConversionResult : int {
  conversionOK = 0,
  sourceExhausted = 1,
  targetExhausted = 2,
  sourceIllegal = 3,
};

enum ConversionFlags : int {
  strictConversion = 0,
  lenientConversion = 1,
};

// The number of bytes after a first byte of that value, by the original scheme of up to six bytes.
extern const char trailingBytesForUTF8[256];
// The sum of the prefixes of a sequence with that many trailing bytes.
extern const UTF32 offsetsFromUTF8[6];
// The prefix of the first byte of a sequence of that many bytes.
extern const UTF8 firstByteMark[7];

ConversionResult ConvertUTF8toUTF16(const UTF8** source_start, const UTF8* source_end,
                                    UTF16** target_start, UTF16* target_end, ConversionFlags flags);
ConversionResult ConvertUTF16toUTF8(const UTF16** source_start, const UTF16* source_end,
                                    UTF8** target_start, UTF8* target_end, ConversionFlags flags);
ConversionResult ConvertUTF8toUTF32(const UTF8** source_start, const UTF8* source_end,
                                    UTF32** target_start, UTF32* target_end, ConversionFlags flags);
ConversionResult ConvertUTF32toUTF8(const UTF32** source_start, const UTF32* source_end,
                                    UTF8** target_start, UTF8* target_end, ConversionFlags flags);
ConversionResult ConvertUTF16toUTF32(const UTF16** source_start, const UTF16* source_end,
                                     UTF32** target_start, UTF32* target_end,
                                     ConversionFlags flags);
ConversionResult ConvertUTF32toUTF16(const UTF32** source_start, const UTF32* source_end,
                                     UTF16** target_start, UTF16* target_end,
                                     ConversionFlags flags);

// Whether a sequence of `length` bytes (1 to 4) is legal: its first byte is neither 0x80 to 0xC1
// nor above 0xF4, it is not overlong and its value is at most U+10FFFF.
bool isLegalUTF8(const UTF8* bytes, int length);
// The same for the sequence at `start`, whose first byte gives its length; false when it reaches
// beyond `end`.
bool isLegalUTF8Sequence(const UTF8* start, const UTF8* end);

}  // namespace orvik
