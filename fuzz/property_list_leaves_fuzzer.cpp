// The texts of numbers, dates and data: a value that was read is written as a text that is read as
// the same value.
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "platform/core_foundation/property_list_leaves.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = orvik::fuzz::Bytes(data, size);
  std::string written;
  if (const auto integer = orvik::ParsePropertyListInteger(text)) {
    orvik::AppendPropertyListInteger(written, *integer);
    const auto again = orvik::ParsePropertyListInteger(written);
    Require(again && again->bits == integer->bits && again->is_unsigned == integer->is_unsigned);
  }
  if (const auto real = orvik::ParsePropertyListReal(text)) {
    written.clear();
    orvik::AppendPropertyListReal(written, *real);
    const auto again = orvik::ParsePropertyListReal(written);
    Require(again && (std::isnan(*real) ? std::isnan(*again)
                                        : std::bit_cast<std::uint64_t>(*again) ==
                                              std::bit_cast<std::uint64_t>(*real)));
  }
  if (const auto date = orvik::ParsePropertyListDate(text)) {
    written.clear();
    orvik::AppendPropertyListDate(written, *date);
    Require(orvik::ParsePropertyListDate(written) == std::floor(*date));
  }
  orvik::ParsePropertyListData(text);
  written.clear();
  orvik::AppendPropertyListData(written, text, static_cast<int>(size % 12));
  Require(orvik::ParsePropertyListData(written) == text);
  return 0;
}
