#include "text/base64_codec.h"

#include <cstring>

#include "text/base64_variants.h"

namespace orvik {

void EncodeBase64(const void* bytes, size_t length, char* text) {
  static const auto kEncode = base64::HasAvx2() ? base64::EncodeAvx2 : base64::EncodePortable;
  const auto* const input = static_cast<const unsigned char*>(bytes);
  const size_t groups = length / 3;
  if (groups != 0) kEncode(input, groups, text);
  const size_t rest = length % 3;
  if (rest == 0) return;
  unsigned char last[3] = {};
  std::memcpy(last, input + groups * 3, rest);
  char* const end = text + groups * 4;
  base64::EncodePortable(last, 1, end);
  end[3] = '=';
  if (rest == 1) end[2] = '=';
}

bool DecodeBase64(const char* text, size_t groups, unsigned char*& bytes) {
  static const auto kDecode = base64::HasAvx2() ? base64::DecodeAvx2 : base64::DecodePortable;
  return kDecode(text, groups, bytes);
}

std::optional<std::string> DecodeLooseBase64(std::string_view text) {
  text = text.substr(0, text.find('='));
  std::string bytes(text.size() / 4 * 3 + 3, '\0');
  auto* const start = reinterpret_cast<unsigned char*>(bytes.data());
  unsigned char* end = start;
  for (;;) {
    // A whole line goes at once: without padding every group gives three bytes, which shows where a
    // bad one stopped it.
    const unsigned char* const before = end;
    DecodeBase64(text.data(), text.size() / 4, end);
    text.remove_prefix(static_cast<size_t>(end - before) / 3 * 4);
    // The next group, from among the characters to be skipped.
    char group[4];
    size_t count = 0;
    size_t taken = 0;
    for (; taken < text.size() && count < 4; ++taken) {
      if (base64::IsInAlphabet(text[taken])) group[count++] = text[taken];
    }
    text.remove_prefix(taken);
    if (count == 1) return std::nullopt;
    if (count != 0) {
      std::memset(group + count, '=', 4 - count);
      DecodeBase64(group, 1, end);
    }
    if (count < 4) break;
  }
  bytes.resize(static_cast<size_t>(end - start));
  return bytes;
}

std::optional<std::size_t> Base64Fault(std::string_view text) {
  std::size_t end = text.size();
  while (end > 0 && text.size() - end < 2 && text[end - 1] == '=') --end;
  for (std::size_t i = 0; i < end; ++i) {
    if (!base64::IsInAlphabet(text[i])) return i;
  }
  if (text.size() % 4 != 0) return text.size();
  if (end == text.size()) return std::nullopt;
  // The last character before the padding gives two or four bits.
  const std::string_view unused = text.size() - end == 1 ? "AEIMQUYcgkosw048" : "AQgw";
  if (unused.find(text[end - 1]) == std::string_view::npos) return end - 1;
  return std::nullopt;
}

}  // namespace orvik
