#include "strings/uca_format.h"

#include <cstdlib>

#include "platform/core_foundation/string.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

TEST(UcaFormat, FormatsIntoArrays) {
  char16_t buffer[16];
  EXPECT_EQ(sucaprintf(buffer, u"%S-%s-%@", u"\x20AC", "b", CFSTR(u"c")), 5);
  EXPECT_EQ(std::u16string_view(buffer), u"\x20AC-b-c");
  EXPECT_EQ(sucaprintf(buffer, nullptr), -1);
  EXPECT_EQ(sucaprintf(buffer, u"%2$d", 1, 2), 1);
  const char16_t* const missing = u"%2$d";
  EXPECT_EQ(sucaprintf(buffer, missing, 1), -1);
}

TEST(UcaFormat, NeverWritesPastTheSize) {
  for (int size = 0; size <= 5; ++size) {
    char16_t buffer[8];
    std::fill_n(buffer, 8, u'X');
    const int result = snucaprintf(buffer, size, u"%s", "abc");
    EXPECT_EQ(result, size == 5 ? 3 : size) << size;
    EXPECT_EQ(buffer[size], u'X');
    if (size > 0) {
      EXPECT_EQ(std::u16string_view(buffer),
                std::u16string_view(u"abc").substr(0, static_cast<std::size_t>(size - 1)));
    }
  }
}

TEST(UcaFormat, WritesUnitsToStreams) {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&bytes, &size);
  EXPECT_EQ(fucaprintf(stream, u"%C%d", 0x20AC, 7), 2);
  std::fclose(stream);
  EXPECT_EQ(std::string(bytes, size), std::string("\xAC\x20\x37\x00", 4));
  std::free(bytes);
  EXPECT_EQ(fucaprintf(nullptr, u"x"), -1);
}

TEST(UcaFormat, Scans) {
  int number = 0;
  wchar_t word[16] = {};
  EXPECT_EQ(sucascanf(u"42 text", u"%d %ls", &number, word), 2);
  EXPECT_EQ(number, 42);
  EXPECT_EQ(std::wstring_view(word), L"text");
  EXPECT_EQ(sucascanf(nullptr, u"%d", &number), 0);
}

}  // namespace
}  // namespace orvik::test
