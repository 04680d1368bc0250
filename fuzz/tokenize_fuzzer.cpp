// Tokenize of both string classes against a plain description of it: the tokens are the maximal
// runs of units that are no delimiters, and the position that comes with the last one is -1.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace {

template <typename Unit>
std::vector<std::basic_string<Unit>> PlainTokens(std::basic_string_view<Unit> text,
                                                 std::basic_string_view<Unit> set) {
  std::vector<std::basic_string<Unit>> tokens;
  std::basic_string<Unit> token;
  for (const Unit unit : text) {
    if (set.find(unit) == set.npos) {
      token += unit;
    } else if (!token.empty()) {
      tokens.push_back(std::move(token));
      token.clear();
    }
  }
  if (!token.empty()) tokens.push_back(std::move(token));
  return tokens;
}

template <typename String>
void Check(const String& text, const String& set) {
  const auto expected = PlainTokens(text.View(), set.View());
  int position = 0;
  std::size_t count = 0;
  while (position != -1) {
    const String token = text.Tokenize(set, position);
    if (token.IsEmpty() && position == -1 && count == expected.size()) break;
    if (count >= expected.size() || token.View() != expected[count]) std::abort();
    ++count;
  }
  if (count != expected.size()) std::abort();
}

}  // namespace

// The first byte is the number of delimiters; they follow, then the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::replace(bytes.begin(), bytes.end(), '\0', ' ');  // a 0 ends the narrow searches
  const std::string_view all(bytes);
  const std::size_t delimiters = std::min<std::size_t>(data[0] % 16, all.size());
  const orvik::CAtlStringA set(all.substr(0, delimiters));
  const orvik::CAtlStringA text(all.substr(delimiters));
  Check(text, set);
  orvik::CAtlString wide_text(text);
  orvik::CAtlString wide_set(set);
  // Units above 255, so that both halves of the set are used.
  wide_text.Replace(u'a', u'\u4E00');
  wide_set.Replace(u'a', u'\u4E00');
  Check(wide_text, wide_set);
  return 0;
}
