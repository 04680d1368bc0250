// Code pages that only the tables of the Unicode library know.
#pragma once

#include "text/code_page_table.h"

namespace orvik {

// The two tasks of code_page_codec.h. Both are empty when the library has no such converter.
std::optional<EncodedLength> EncodeWithConverter(const CodePageEntry& entry,
                                                 std::u16string_view text, char loss_byte,
                                                 char* target, size_t room);
std::optional<std::u16string> DecodeWithConverter(const CodePageEntry& entry,
                                                  std::string_view bytes);

// Whether the library has the converter.
bool HasConverter(const CodePageEntry& entry);

}  // namespace orvik
