#include "text/percent_encoding.h"

namespace orvik {

namespace {

bool IsLetterOrDigit(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9');
}

}  // namespace

std::string PercentEncoded(std::string_view bytes, std::string_view kept) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) {
    if (IsLetterOrDigit(byte) || kept.find(byte) != std::string_view::npos) {
      text += byte;
    } else {
      const auto value = static_cast<unsigned char>(byte);
      text += {'%', kDigits[value >> 4], kDigits[value & 15]};
    }
  }
  return text;
}

}  // namespace orvik
