// Numbers in text: integers are those of a simple reader, reals read back from their own text, and
// written digits are read.
#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/require.h"
#include "strings/uca.h"

using orvik::fuzz::Require;

namespace {

// Reads a sign and digits, and cuts the value at the ends of its range.
int PlainInteger(const std::string& text) {
  std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string::npos) return 0;
  const bool is_negative = text[at] == '-';
  if (is_negative || text[at] == '+') ++at;
  const std::size_t end = std::min(text.find_first_not_of("0123456789", at), text.size());
  std::string digits = text.substr(at, end - at);
  digits.erase(0, digits.find_first_not_of('0'));
  if (digits.size() > 10) return is_negative ? INT_MIN : INT_MAX;
  const long long value = digits.empty() ? 0 : std::stoll(digits);
  return static_cast<int>(std::clamp<long long>(is_negative ? -value : value, INT_MIN, INT_MAX));
}

std::u16string Wide(const std::string& text) {
  return std::u16string(text.begin(), text.end());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text = orvik::fuzz::Bytes(data, size);
  text.resize(std::min(text.find('\0'), text.size()));
  // Beyond ASCII, only white space matters to the function.
  std::erase_if(text, [](char c) { return static_cast<unsigned char>(c) > 0x7F; });
  Require(orvik::ucatoi(Wide(text).c_str()) == PlainInteger(text));

  const double real = orvik::ucatof(Wide(text).c_str());
  Require(!std::isnan(real));
  if (std::isfinite(real)) {
    char digits[64];
    const auto written = std::to_chars(digits, digits + sizeof digits, real);
    Require(orvik::ucatof(Wide(std::string(digits, written.ptr)).c_str()) == real);
  }

  int value = 0;
  std::memcpy(&value, text.data(), std::min(text.size(), sizeof value));
  char16_t buffer[16];
  Require(orvik::ucatoi(orvik::itouca(value, buffer, 10)) == value);
  Require(std::all_of(text.begin(), text.end(), [](char c) {
    return orvik::isucdigit(static_cast<char16_t>(c)) == (c >= '0' && c <= '9');
  }));
  return 0;
}
