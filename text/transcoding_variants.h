// The variants of the transcoding loops that use wide vectors. For transcoding.cpp and tests.
//
// Dispatch: transcoding.cpp asks HasAvx512 and HasAvx2 once and calls the widest variant, then the
// plain loops for the rest of the text. Builds for other processors have only the plain loops;
// there HasAvx2 and HasAvx512 are false. All variants give the same units and bytes, and write
// nothing behind the ends that they are given.
#pragma once

#include <cstddef>

#include "text/transcoding.h"

namespace orvik::transcoding {

// The plain loops, which need no other variant.
TranscodingStop DecodePlain(const char*& source, const char* source_end, char16_t*& target,
                            char16_t* target_end);
TranscodingStop EncodePlain(const char16_t*& source, const char16_t* source_end, char*& target,
                            char* target_end);

// As Utf8Length (an unpaired surrogate counts as one byte) and Utf16Length (-1 for malformed
// bytes).
size_t MeasurePlain(const char16_t* source, const char16_t* source_end);
std::ptrdiff_t CountPlain(const char* source, const char* source_end);

#if defined(__x86_64__)

// Whether the processor has these vectors. Call the functions of that name only if it has.
bool HasAvx2();
bool HasAvx512();

// Convert whole blocks and leave the rest to the plain loops. They leave everything from a
// malformed character on, too: `source` and `target` stop between characters, at the start of a
// malformed character or some characters before it.
void DecodeBlocksAvx2(const char*& source, const char* source_end, char16_t*& target,
                      char16_t* target_end);
void EncodeBlocksAvx2(const char16_t*& source, const char16_t* source_end, char*& target,
                      char* target_end);

// Count the UTF-16 units of whole blocks of UTF-8, and the UTF-8 bytes of whole blocks of UTF-16,
// in the same way.
size_t CountBlocksAvx2(const char*& source, const char* source_end);
size_t MeasureBlocksAvx2(const char16_t*& source, const char16_t* source_end);

// Convert or count up to the end of the source, a malformed character, an unpaired surrogate, or a
// place near the end of the target. The plain loops do the rest.
void DecodeAvx512(const char*& source, const char* source_end, char16_t*& target,
                  char16_t* target_end);
void EncodeAvx512(const char16_t*& source, const char16_t* source_end, char*& target,
                  char* target_end);
size_t CountAvx512(const char*& source, const char* source_end);
size_t MeasureAvx512(const char16_t*& source, const char16_t* source_end);

#else

// Builds for other processors have only the plain loops.
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
