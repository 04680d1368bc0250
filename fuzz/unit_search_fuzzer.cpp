// The searches in text, which go by blocks, against those of the standard library.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "strings/unit_search.h"
#include "strings/unit_set.h"

namespace {

template <typename Unit>
void Check(std::basic_string_view<Unit> content, std::basic_string_view<Unit> text) {
  orvik::fuzz::Require(orvik::FindUnits(content, text) == content.find(text));
  if (text.empty()) return;
  orvik::fuzz::Require(orvik::FindUnit(content, text.front()) == content.find(text.front()));
  const orvik::UnitSet<Unit> set(text);
  const std::size_t in = content.find_first_not_of(text);
  const std::size_t out = content.find_first_of(text);
  orvik::fuzz::Require(set.RunIn(content) == (in == content.npos ? content.size() : in));
  orvik::fuzz::Require(set.RunOut(content) == (out == content.npos ? content.size() : out));
}

}  // namespace

// The first byte is the length of the text that is looked for; it follows, then the content.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes = orvik::fuzz::Bytes(data + 1, size - 1);
  const std::string_view narrow(bytes);
  Check(narrow.substr(narrow.substr(0, data[0]).size()), narrow.substr(0, data[0]));
  // Few different units, so that beginnings of the text are met often.
  std::u16string units;
  for (const char byte : bytes) units += static_cast<char16_t>(0x4E00 | (byte & 3) << 7);
  const std::u16string_view wide(units);
  Check(wide.substr(wide.substr(0, data[0]).size()), wide.substr(0, data[0]));
  return 0;
}
