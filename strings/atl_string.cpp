#include "strings/atl_string.h"

#include <ostream>

#include "strings/atl_string_a.h"
#include "strings/string_operations_impl.h"
#include "strings/utf8_strings.h"
#include "text/transcoding.h"

namespace orvik {

template class StringBuffer<WideUnits>;
template class StringOperations<CAtlString, WideUnits>;

void WideUnits::Convert(const char* from, char16_t* to, std::size_t n) {
  WidenLatin1(from, to, n);
}

CAtlString::CAtlString(const CAtlStringA& text) {
  Append(text);
}

const CAtlString& AfxGetEmptyString() {
  static const CAtlString empty;
  return empty;
}

// A friend has no visibility of its own.
[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out, const CAtlString& text) {
  return out << MakeUTF8StringFromUnicodeString(text);
}

}  // namespace orvik
