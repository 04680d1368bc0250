#include "tools/orvikprefs/text.h"

#include "platform/core_foundation/encodings.h"
#include "prefs/auto_release.h"
#include "strings/utf8_strings.h"

namespace orvik::prefstool {

std::optional<CAtlString> FromUtf8(std::string_view bytes) {
  CAutoCFRelease<CFStringRef> text(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false));
  if (!text) return std::nullopt;
  return CAtlString(text.Get());
}

std::string ToUtf8(CFStringRef text) {
  return ToUtf8(CAtlString(text));
}

std::string ToUtf8(const CAtlString& text) {
  const CAtlStringA bytes = MakeUTF8StringFromUnicodeString(text);
  return std::string(bytes.GetString(), static_cast<size_t>(bytes.GetLength()));
}

std::string Escaped(std::string_view utf8) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string shown;
  shown.reserve(utf8.size());
  for (size_t i = 0; i < utf8.size(); ++i) {
    const unsigned char byte = static_cast<unsigned char>(utf8[i]);
    // U+0080 to U+009F are control characters too; in UTF-8 they follow a C2.
    const bool c1 =
        byte == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0;
    if (byte == '\\') {
      shown += "\\\\";
    } else if (byte == '\n') {
      shown += "\\n";
    } else if (byte == '\t') {
      shown += "\\t";
    } else if (byte == '\r') {
      shown += "\\r";
    } else if (byte < 0x20 || byte == 0x7F || c1) {
      const unsigned char control = c1 ? static_cast<unsigned char>(utf8[++i]) : byte;
      shown += "\\x";
      shown += kDigits[control >> 4];
      shown += kDigits[control & 15];
    } else {
      shown += static_cast<char>(byte);
    }
  }
  return shown;
}

}  // namespace orvik::prefstool
