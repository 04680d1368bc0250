// Arrays of 16-bit and 32-bit units: well-formed text is reproduced, and other text stays within
// its room.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "strings/uca.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = orvik::fuzz::UnitsToNul(data, size);
  wchar_t* const wide = orvik::makeWCA32FromUCA(text.c_str());
  const std::unique_ptr<char16_t[]> back(orvik::makeUCAFromWCA32(wide));
  Require(text.starts_with(back.get()));
  bool only_bmp = true;
  for (const char16_t unit : text) only_bmp = only_bmp && (unit < 0xD800 || unit > 0xDFFF);
  if (only_bmp) Require(back.get() == text);
  orvik::freeWCA32Str(wide);

  const std::string bytes = orvik::fuzz::Bytes(data, size);
  const std::unique_ptr<char16_t[]> units(orvik::makeUCAFromCA(bytes.c_str()));
  const std::unique_ptr<char[]> narrow(orvik::makeCAFromUCA(units.get()));
  if (narrow != nullptr) Require(std::string_view(narrow.get()) == bytes.c_str());

  std::u32string points;
  for (std::size_t i = 0; i + 2 < size; i += 3) {
    points += static_cast<char32_t>(data[i] | data[i + 1] << 8 | data[i + 2] << 16);
  }
  const std::wstring wide_points(points.begin(), points.end());
  std::u16string room(wide_points.size(), u'\0');
  orvik::WCA32toUCA(wide_points.data(), room.data(), static_cast<int>(room.size()));
  return 0;
}
