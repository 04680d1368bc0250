#include <cstddef>
#include <cstdint>

#include "fuzz/property_list_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orvik::fuzz::CheckPropertyList({reinterpret_cast<const char*>(data), size});
  return 0;
}
