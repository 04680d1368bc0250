// The Windows code pages other than the Unicode forms: tables for pages of single bytes, converters
// of the Unicode library for all others.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "text/code_page_codec.h"

namespace orvik {

// The three tasks of code_page_codec.h. Encoding and decoding return nothing for a code page
// outside the table and for a page whose converter the library lacks.
bool IsInTable(CodePage page);
std::optional<EncodedLength> EncodeByTable(CodePage page, std::u16string_view text, char loss_byte,
                                           char* target, size_t room);
std::optional<std::u16string> DecodeByTable(CodePage page, std::string_view bytes);

}  // namespace orvik
