// Base64: what is encoded comes back, both variants agree on any text, and no byte is written
// outside the room that the interface asks for.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/require.h"
#include "text/byte_encodings.h"
#include "xml/base64.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto length = static_cast<unsigned int>(size);
  const std::vector<char> input(data, data + size);

  std::vector<char> text((size + 2) / 3 * 4);
  Require(orvik::encode64(data, length, text.data(), static_cast<unsigned>(text.size()), nullptr) ==
          1);
  std::vector<unsigned char> back(text.size() / 4 * 3);
  unsigned int count = 0;
  Require(orvik::decode64(text.data(), static_cast<unsigned>(text.size()), back.data(), &count) ==
          (size != 0 ? 1 : 0));
  back.resize(count);
  Require(back == std::vector<unsigned char>(data, data + size));

  std::vector<unsigned char> decoded(size / 4 * 3);
  orvik::decode64(input.data(), length, decoded.data(), &count);

  std::vector<unsigned char> one(size / 4 * 3), two(size / 4 * 3);
  unsigned char *one_end = one.data(), *two_end = two.data();
  const bool good = orvik::base64::DecodePortable(input.data(), size / 4, one_end);
  if (!orvik::base64::HasAvx2()) return 0;
  Require(orvik::base64::DecodeAvx2(input.data(), size / 4, two_end) == good);
  Require(std::vector<unsigned char>(one.data(), one_end) ==
          std::vector<unsigned char>(two.data(), two_end));
  return 0;
}
