#include "fuzz/require.h"
#include "tests/properties/base64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::test::Base64CircleFault, data, size);
}
