// Base64: decoding returns the bytes, with line breaks at any place; the variants agree on any
// text; and nothing is written beyond the room that the interface asks for.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "text/byte_encodings.h"

namespace orvik::fuzz {
namespace {

std::string Base64CircleFault(std::string_view bytes) {
  const std::string text = EncodedBase64(bytes);
  if (DecodeLooseBase64(text) != bytes) return "does not come back: " + text;
  Choices choices(bytes);
  std::string broken = text;
  const std::size_t line = 1 + choices.Below(text.size() + 1);
  for (std::size_t at = line; at < broken.size(); at += line + 1) broken.insert(at, 1, '\n');
  if (DecodeLooseBase64(broken) != bytes) return "does not come back in lines: " + text;
  if (!base64::HasAvx2()) return "";

  // Exactly the room that is asked for, so that an extra byte is detected.
  const std::size_t groups = bytes.size() / 3;
  const std::vector<unsigned char> source(bytes.begin(), bytes.end());
  std::string one(groups * 4, '?'), two = one;
  base64::EncodePortable(source.data(), groups, one.data());
  base64::EncodeAvx2(source.data(), groups, two.data());
  if (one != two || !text.starts_with(one)) return "is encoded otherwise: " + one;
  for (int damage = 0; damage < 5; ++damage) {
    for (const std::string& any : {one, std::string(bytes.substr(0, bytes.size() / 4 * 4))}) {
      const std::vector<char> input(any.begin(), any.end());
      std::vector<unsigned char> first(any.size() / 4 * 3), second = first;
      unsigned char *first_end = first.data(), *second_end = second.data();
      const bool good = base64::DecodePortable(input.data(), any.size() / 4, first_end);
      if (base64::DecodeAvx2(input.data(), any.size() / 4, second_end) != good ||
          std::string(first.data(), first_end) != std::string(second.data(), second_end)) {
        return "is decoded otherwise: " + any;
      }
    }
    if (!one.empty()) one[choices.Below(one.size())] = "=A!z"[choices.Next(1) % 4];
  }
  return "";
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::Base64CircleFault, data, size);
}
