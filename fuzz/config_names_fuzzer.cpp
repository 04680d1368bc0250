// Names of the configuration store: the folded forms of two names are equal if and only if the
// comparison without case finds the names equal.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "strings/atl_string_a.h"
#include "xml/config_index.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static constexpr std::string_view kBytes =
      "aAbsSsfFil1_ \xA7\xA7\xDE\xDF\x8A\x80\xC3\xBC\x9C\xF2\xE9\x8E";
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  orvik::fuzz::Choices choices(bytes);
  std::string texts[2];
  for (std::string& text : texts) {
    for (auto left = choices.Below(4); left > 0; --left) {
      text += kBytes[choices.Below(kBytes.size())];
    }
  }
  const char* const other = texts[1].c_str();
  const bool is_same = orvik::CAtlStringA(texts[0]).CompareNoCase(other) == 0;
  orvik::fuzz::Require(orvik::HasFoldedName(other, orvik::FoldedConfigName(texts[0])) == is_same);
  return 0;
}
