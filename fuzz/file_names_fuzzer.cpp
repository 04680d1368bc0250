#include "fuzz/require.h"
#include "tests/properties/host_texts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::test::FileNamesFault, data, size);
}
