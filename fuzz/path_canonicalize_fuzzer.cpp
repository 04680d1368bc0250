// PathCanonicalize: the result has no "." and no ".." component, is never longer than the path,
// equals a path without such components, and is the same in the path's own buffer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "files/path_text.h"
#include "fuzz/require.h"

namespace {

using orvik::fuzz::Require;

bool HasDotComponent(std::u16string_view path) {
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find(u'/', start), path.size());
    const std::u16string_view component = path.substr(start, end - start);
    if (component == u"." || component == u"..") return true;
    start = end + 1;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::u16string path;
  for (std::size_t i = 0; i < size && data[i] != 0; ++i) path += char16_t{data[i]};

  std::vector<char16_t> out(path.size() + 1, u'x');
  if (!orvik::PathCanonicalize(out.data(), path.c_str())) {
    Require(path.empty());
    return 0;
  }
  const std::u16string result(out.data());
  Require(result.size() <= path.size());
  Require(!HasDotComponent(result));
  if (!HasDotComponent(path)) Require(result == path);

  std::vector<char16_t> own(path.c_str(), path.c_str() + path.size() + 1);
  Require(orvik::PathCanonicalize(own.data(), own.data()));
  Require(result == own.data());
  return 0;
}
