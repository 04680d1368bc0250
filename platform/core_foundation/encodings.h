// Encodings of text, their numbers, and the code pages that correspond to them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

using CFStringEncoding = UInt32;

inline constexpr CFStringEncoding kCFStringEncodingMacRoman = 0;
inline constexpr CFStringEncoding kCFStringEncodingUnicode = 0x0100;
inline constexpr CFStringEncoding kCFStringEncodingUTF16 = 0x0100;  // machine order, or as marked
inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
inline constexpr CFStringEncoding kCFStringEncodingUTF32 = 0x0C000100;
inline constexpr CFStringEncoding kCFStringEncodingUTF16BE = 0x10000100;
inline constexpr CFStringEncoding kCFStringEncodingUTF16LE = 0x14000100;
inline constexpr CFStringEncoding kCFStringEncodingUTF32BE = 0x18000100;
inline constexpr CFStringEncoding kCFStringEncodingUTF32LE = 0x1C000100;
inline constexpr CFStringEncoding kCFStringEncodingISOLatin1 = 0x0201;
inline constexpr CFStringEncoding kCFStringEncodingDOSLatinUS = 0x0400;
inline constexpr CFStringEncoding kCFStringEncodingWindowsLatin1 = 0x0500;
inline constexpr CFStringEncoding kCFStringEncodingASCII = 0x0600;
inline constexpr CFStringEncoding kCFStringEncodingInvalidId = 0xFFFFFFFF;

// kCFStringEncodingInvalidId for a code page that is not known. A Windows code page without a
// number of its own is 0x7A000000 + the code page.
CFStringEncoding CFStringConvertWindowsCodepageToEncoding(UInt32 code_page);

// The 8-bit encoding of the platform: Mac OS Roman.
CFStringEncoding CFStringGetSystemEncoding();

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);

// What an encoding made of some text.
struct EncodedLength {
  CFIndex units = 0;  // taken from the text, whole characters
  CFIndex bytes = 0;  // produced
};

// Encodes as many whole characters as `room` bytes hold; with a null target, all of them are
// measured. A character that the encoding lacks becomes `loss_byte`; with loss byte 0 it ends the
// conversion before it. Nothing for an unknown encoding.
std::optional<EncodedLength> EncodeText(CFStringEncoding encoding, std::u16string_view text,
                                        UInt8 loss_byte, bool with_mark, char* target,
                                        CFIndex room);

// The text that the bytes hold; nothing when they are not of the encoding, or it is unknown. A
// byte-order mark is taken off for the encodings without a fixed order.
std::optional<std::u16string> DecodeText(CFStringEncoding encoding, std::string_view bytes);

// The same, but each malformed sequence becomes U+FFFD. Nothing for an unknown encoding alone.
std::optional<std::u16string> DecodeTextLeniently(CFStringEncoding encoding,
                                                  std::string_view bytes);

// Mac OS Roman, unit by unit.
char16_t UnitOfMacRoman(unsigned char byte);
// -1 for a unit that Mac OS Roman lacks.
int MacRomanOfUnit(char16_t unit);

}  // namespace orvik
