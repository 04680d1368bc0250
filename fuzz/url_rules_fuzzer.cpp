// Link texts: a text that was turned into a link has a scheme and no backslash, and does not change
// when it is turned into a link again.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "files/urls.h"
#include "fuzz/require.h"

using orvik::CAtlString;
using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  const std::u16string units(bytes.begin(), bytes.end());
  const CAtlString text{std::u16string_view(units)};
  if (orvik::IsValidURL(text)) Require(orvik::GetUrlProtocol(text) != orvik::URL_UNKNOWN);

  CAtlString link(text);
  if (!orvik::MakeValidHyperlink(link)) return 0;
  Require(link.View().find(u'\\') == std::u16string_view::npos);
  Require(orvik::IsValidURL(link));
  CAtlString again(link);
  Require(orvik::MakeValidHyperlink(again));
  Require(again.View() == link.View());
  return 0;
}
