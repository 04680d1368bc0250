// The searches in text, which work in blocks, compared with those of the standard library.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "strings/unit_search.h"
#include "strings/unit_set.h"

namespace orvik::fuzz {
namespace {

template <typename Unit>
std::string UnitSearchFaultIn(std::basic_string_view<Unit> content,
                              std::basic_string_view<Unit> text) {
  if (FindUnits(content, text) != content.find(text)) return "another place of a text";
  if (text.empty()) return "";
  if (FindUnit(content, text[0]) != content.find(text[0])) return "another place of a unit";
  if constexpr (sizeof(Unit) == 1) {
    // A block of exactly the size of the content, so that reading behind it is detected.
    const std::vector<char> exact(content.begin(), content.end());
    const std::string_view before = content.substr(0, content.find('\0'));
    if (text.find('\0') == text.npos &&
        FindUnitsBeforeZero({exact.data(), exact.size()}, text) != before.find(text)) {
      return "another place before the first 0 byte";
    }
  }
  const UnitSet<Unit> set(text);
  const std::size_t in = content.find_first_not_of(text), out = content.find_first_of(text);
  if (set.RunIn(content) != (in == content.npos ? content.size() : in)) return "another run";
  if (set.RunOut(content) != (out == content.npos ? content.size() : out)) return "another run";
  for (const Unit unit : content) {
    if (set.Contains(unit) != (text.find(unit) != text.npos)) return "another set";
  }
  return "";
}

// The first byte is the length of the text to find; that text and the content follow. They are read
// as bytes, as any units, and as few different units, so that the start of the text occurs often.
std::string UnitSearchFault(std::string_view bytes) {
  Choices choices(bytes);
  const std::size_t length = choices.Next(1);
  const std::string_view rest = choices.Rest();
  std::string few_bytes;
  std::u16string any, few;
  for (const char byte : rest) {
    any += static_cast<char16_t>(byte * 0x0103);
    few += static_cast<char16_t>(0x4E00 | (byte & 3) << 7);
    // Mostly one letter, so that many comparisons fail late, and a few 0 bytes.
    few_bytes += static_cast<char>(byte == 7 ? 0 : (byte & 7) == 1 ? 'b' : 'a');
  }
  const auto fault = [length](auto all) {
    const auto text = all.substr(0, length);
    return UnitSearchFaultIn(all.substr(text.size()), text);
  };
  for (const std::string& found :
       {fault(rest), fault(std::string_view(few_bytes)), fault(std::u16string_view(any)),
        fault(std::u16string_view(few))}) {
    if (!found.empty()) return found;
  }
  return "";
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::UnitSearchFault, data, size);
}
