// The variants of the transcoding loops that use wide vectors. For transcoding.cpp and tests.
//
// Dispatch: transcoding.cpp asks HasAvx512 and HasAvx2 once and calls the widest variant, and the
// plain loops for the rest of the text. A build for another processor has the plain loops alone;
// HasAvx2 and HasAvx512 are false there. All variants give the same units and bytes, and write
// nothing behind the ends that they are given.
#pragma once

#include <cstddef>

#include "text/transcoding.h"

namespace orvik::transcoding {

// The plain loops, which do everything by themselves.
TranscodingStop DecodePlain(const char*& source, const char* source_end, char16_t*& target,
                            char16_t* target_end);
TranscodingStop EncodePlain(const char16_t*& source, const char16_t* source_end, char*& target,
                            char* target_end);

// Utf8Length, in which an unpaired surrogate counts as one byte, and Utf16Length, which is -1 for
// malformed bytes.
size_t MeasurePlain(const char16_t* source, const char16_t* source_end);
std::ptrdiff_t CountPlain(const char* source, const char* source_end);

#if defined(__x86_64__)

// Whether the processor has the vectors. The functions with the name may be called only then.
bool HasAvx2();
bool HasAvx512();

// They convert as far as whole blocks go, and leave the rest, and everything from a malformed
// character on, to the plain loops: `source` and `target` stop between characters, at the start of
// a malformed one or some characters before it.
void DecodeBlocksAvx2(const char*& source, const char* source_end, char16_t*& target,
                      char16_t* target_end);
void EncodeBlocksAvx2(const char16_t*& source, const char16_t* source_end, char*& target,
                      char* target_end);

// Count the UTF-16 units of whole blocks of UTF-8, and the other way round, in the same way.
size_t CountBlocksAvx2(const char*& source, const char* source_end);
size_t MeasureBlocksAvx2(const char16_t*& source, const char16_t* source_end);

// They convert, and count, everything up to the end, to a malformed character or unpaired
// surrogate, or to a place near the end of the target, and leave the rest to the plain loops.
void DecodeAvx512(const char*& source, const char* source_end, char16_t*& target,
                  char16_t* target_end);
void EncodeAvx512(const char16_t*& source, const char16_t* source_end, char*& target,
                  char* target_end);
size_t CountAvx512(const char*& source, const char* source_end);
size_t MeasureAvx512(const char16_t*& source, const char16_t* source_end);

#else

// Other processors have the plain loops alone.
constexpr bool HasAvx2() {
  return false;
}
constexpr bool HasAvx512() {
  return false;
}
inline constexpr auto kNoVariant = [](const auto&...) { return size_t{0}; };
inline constexpr auto DecodeBlocksAvx2 = kNoVariant, EncodeBlocksAvx2 = kNoVariant,
                      CountBlocksAvx2 = kNoVariant, MeasureBlocksAvx2 = kNoVariant,
                      DecodeAvx512 = kNoVariant, EncodeAvx512 = kNoVariant,
                      CountAvx512 = kNoVariant, MeasureAvx512 = kNoVariant;

#endif

}  // namespace orvik::transcoding
