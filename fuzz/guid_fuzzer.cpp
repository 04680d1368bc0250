// Identifiers: the text has its single form, a simple reader gets the identifier from it, and the
// comparisons agree with the bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "strings/unknown.h"

using orvik::fuzz::Require;

namespace {

std::string Text(const orvik::GUID& id) {
  char16_t* units = nullptr;
  Require(orvik::StringFromCLSID(id, &units) == orvik::S_OK);
  const std::unique_ptr<char16_t[]> owned(units);
  const std::u16string_view view(units);
  return std::string(view.begin(), view.end());
}

orvik::GUID PlainlyRead(const std::string& text) {
  Require(text.size() == 38 && text.front() == '{' && text.back() == '}');
  for (const std::size_t dash : {9, 14, 19, 24}) Require(text[dash] == '-');
  std::string digits;
  for (const char c : text.substr(1, 36)) {
    if (c == '-') continue;
    Require((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'));
    digits += c;
  }
  Require(digits.size() == 32);
  const auto number = [&](std::size_t at, std::size_t length) {
    return std::stoul(digits.substr(at, length), nullptr, 16);
  };
  orvik::GUID id{};
  id.Data1 = static_cast<std::uint32_t>(number(0, 8));
  id.Data2 = static_cast<std::uint16_t>(number(8, 4));
  id.Data3 = static_cast<std::uint16_t>(number(12, 4));
  for (std::size_t i = 0; i < 8; ++i)
    id.Data4[i] = static_cast<std::uint8_t>(number(16 + 2 * i, 2));
  return id;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orvik::GUID ids[2] = {};
  const std::string bytes = orvik::fuzz::Bytes(data, size).substr(0, sizeof ids);
  std::memcpy(ids, bytes.data(), bytes.size());
  const bool same = std::memcmp(&ids[0], &ids[1], sizeof ids[0]) == 0;
  Require((ids[0] == ids[1]) == same);
  Require((orvik::IsEqualGUID(ids[0], ids[1]) != orvik::FALSE) == same);
  Require((orvik::InlineIsEqualGUID(ids[0], ids[1]) != orvik::FALSE) == same);
  for (const orvik::GUID& id : ids) Require(PlainlyRead(Text(id)) == id);
  Require((Text(ids[0]) == Text(ids[1])) == same);
  return 0;
}
