// The Windows code pages that are not a Unicode form, and the converters that carry them out.
#pragma once

#include <span>

#include "text/code_page_codec.h"

namespace orvik {

// A byte that the library's table reads otherwise than the Windows code page.
struct ByteCorrection {
  unsigned char byte;
  char16_t unit;  // kNoUnit: the byte has no meaning
};
inline constexpr char16_t kNoUnit = 0xFFFF;

struct CodePageEntry {
  CodePage page;
  const char* converter;  // the Unicode library's name
  std::span<const ByteCorrection> corrections;
};

// Null when there is no such code page here.
const CodePageEntry* FindCodePage(CodePage page);

// In the order of their numbers.
std::span<const CodePageEntry> AllCodePages();

}  // namespace orvik
