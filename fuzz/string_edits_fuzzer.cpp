#include "fuzz/require.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "tests/properties/string_edits.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  fuzz::CheckProperty(test::StringEditsFault<CAtlStringA>, data, size);
  return fuzz::CheckProperty(test::StringEditsFault<CAtlString>, data, size);
}
