#include "fuzz/require.h"
#include "tests/properties/value_circle.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::test::CircleFault, data, size);
}
