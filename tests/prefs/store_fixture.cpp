#include "tests/prefs/store_fixture.h"

#include "strings/atl_string_a.h"
#include "strings/utf8_strings.h"

namespace orvik::test {

CAtlString Wide(const std::string& utf8) {
  return MakeWideStringFromUTF8String(utf8.c_str());
}

std::string Utf8(const CAtlString& text) {
  return std::string(MakeUTF8StringFromUnicodeString(text).View());
}

}  // namespace orvik::test
