// Encodings that only tables of the Unicode library know.
#pragma once

#include "platform/core_foundation/encodings.h"

namespace orvik {

// The two tasks of encodings.h for an encoding that is neither a Unicode form nor one of the
// 8-bit encodings with a table here.
bool HasConverter(CFStringEncoding encoding);
std::optional<EncodedLength> EncodeWithConverter(CFStringEncoding encoding,
                                                 std::u16string_view text, UInt8 loss_byte,
                                                 char* target, CFIndex room);
std::optional<std::u16string> DecodeWithConverter(CFStringEncoding encoding, std::string_view bytes,
                                                  bool lenient);

// Whether the Unicode library has a table for a Windows code page.
bool HasCodePageConverter(UInt32 code_page);

// The code page of an encoding, 0 when it has none.
UInt32 CodePageOfEncoding(CFStringEncoding encoding);

}  // namespace orvik
