// The compressed form: zlib decompresses it to the same bytes, and it fits into the room of zlib's
// bound.
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/require.h"
#include "streams/compressed_file_stream.h"

using orvik::fuzz::Require;

// The first byte repeats the rest, so that there is something to compress.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::vector<unsigned char> plain;
  for (int times = 1 + data[0] % 8; times > 0; --times) {
    plain.insert(plain.end(), data + 1, data + size);
  }
  std::vector<unsigned char> packed(compressBound(plain.size()));
  auto length = static_cast<unsigned int>(packed.size());
  Require(orvik::zlib1_compress(packed.data(), &length, plain.data(),
                                static_cast<unsigned int>(plain.size())) == Z_OK);
  std::vector<unsigned char> back(plain.size() + 1);
  uLongf count = back.size();
  Require(uncompress(back.data(), &count, packed.data(), length) == Z_OK);
  back.resize(count);
  Require(back == plain);
  // Too little room is reported, and nothing is written behind it.
  if (length == 0) return 0;
  std::vector<unsigned char> small(length - 1);
  unsigned int room = length - 1;
  Require(orvik::zlib1_compress(small.data(), &room, plain.data(),
                                static_cast<unsigned int>(plain.size())) == Z_BUF_ERROR);
  return 0;
}
