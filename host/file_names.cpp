#include "host/file_names.h"

#include "text/transcoding.h"

namespace orvik::host {
namespace {

constexpr char16_t kEscapedBackslash = 0xDC00 + u'\\';

bool StandsForByte(char16_t unit) {
  return (unit >= 0xDC80 && unit <= 0xDCFF) || unit == kEscapedBackslash;
}

}  // namespace

std::u16string FileNameFromBytes(std::string_view bytes) {
  std::u16string name(bytes.size(), u'\0');
  const char* source = bytes.data();
  const char* const source_end = source + bytes.size();
  char16_t* target = name.data();
  while (DecodeUtf8(source, source_end, target, name.data() + name.size()) !=
         TranscodingStop::kDone) {
    *target++ = static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(*source++));
  }
  name.resize(static_cast<std::size_t>(target - name.data()));
  return name;
}

std::optional<std::string> FileNameToBytes(std::u16string_view name) {
  if (name.find(u'\0') != std::u16string_view::npos) return std::nullopt;
  std::string bytes(3 * name.size(), '\0');
  const char16_t* source = name.data();
  char* target = bytes.data();
  while (EncodeUtf8(source, name.data() + name.size(), target, bytes.data() + bytes.size()) !=
         TranscodingStop::kDone) {
    const char16_t unit = *source++;  // a surrogate without its other half
    if (StandsForByte(unit)) {
      *target++ = static_cast<char>(unit);
    } else {
      *target++ = static_cast<char>(0xE0 | unit >> 12);
      *target++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
      *target++ = static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  bytes.resize(static_cast<std::size_t>(target - bytes.data()));
  return bytes;
}

}  // namespace orvik::host
