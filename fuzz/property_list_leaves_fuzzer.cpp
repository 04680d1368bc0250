// The texts of numbers, dates and data: the text that is written for a value is read as the same
// value.
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "plist/leaves.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = orvik::fuzz::Bytes(data, size);
  std::string written;
  if (const auto integer = orvik::plist::ParseInteger(text)) {
    orvik::plist::AppendInteger(written, *integer);
    const auto again = orvik::plist::ParseInteger(written);
    Require(again && again->bits == integer->bits && again->is_unsigned == integer->is_unsigned);
  }
  if (const auto real = orvik::plist::ParseReal(text)) {
    written.clear();
    orvik::plist::AppendReal(written, *real);
    const auto again = orvik::plist::ParseReal(written);
    Require(again && (std::isnan(*real) ? std::isnan(*again)
                                        : std::bit_cast<std::uint64_t>(*again) ==
                                              std::bit_cast<std::uint64_t>(*real)));
  }
  if (const auto date = orvik::plist::ParseDate(text)) {
    written.clear();
    orvik::plist::AppendDate(written, *date);
    Require(orvik::plist::ParseDate(written) == std::floor(*date));
  }
  orvik::plist::ParseData(text);
  written.clear();
  orvik::plist::AppendData(written, text, static_cast<int>(size % 12));
  Require(orvik::plist::ParseData(written) == text);
  return 0;
}
