// Strings with their length in front, and the memory that passes between components.
#include "files/counted_strings.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include "files/global_memory.h"

namespace orvik {
namespace {

using std::u16string_view;

TEST(CountedStrings, CarryTheirLengthBeforeTheText) {
  BSTR text = SysAllocStringLen(u"a\0b", 3);
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, reinterpret_cast<const char*>(text) - 4, 4);
  EXPECT_EQ(bytes, 6u);
  EXPECT_EQ(SysStringLen(text), 3);
  EXPECT_EQ(SysStringByteLen(text), 6);
  EXPECT_EQ(u16string_view(text, 4), u16string_view(u"a\0b\0", 4));
  SysFreeString(text);

  BSTR zeros = SysAllocStringLen(nullptr, 2);
  EXPECT_EQ(u16string_view(zeros, 3), u16string_view(u"\0\0\0", 3));
  SysFreeString(zeros);
  BSTR odd = SysAllocStringByteLen("abc", 3);
  EXPECT_EQ(SysStringLen(odd), 1);
  EXPECT_EQ(SysStringByteLen(odd), 3);
  EXPECT_EQ(std::memcmp(odd, "abc\0\0", 5), 0);
  SysFreeString(odd);
  for (auto* make : {SysAllocString, W2BSTR, T2BSTR, OLE2BSTR}) {
    BSTR made = make(u"xy");
    EXPECT_EQ(u16string_view(made), u"xy");
    SysFreeString(made);
    EXPECT_EQ(make(nullptr), nullptr);
  }
  EXPECT_EQ(SysStringLen(nullptr) + SysStringByteLen(nullptr), 0);
  SysFreeString(nullptr);
  EXPECT_EQ(SysAllocStringLen(u"", -1), nullptr);
  EXPECT_EQ(SysAllocStringByteLen("", INT_MIN), nullptr);
}

TEST(CountedStrings, AreReplaced) {
  BSTR text = SysAllocString(u"first");
  EXPECT_TRUE(SysReAllocString(&text, text + 2));  // a piece of the old one
  EXPECT_EQ(u16string_view(text), u"rst");
  EXPECT_TRUE(SysReAllocStringLen(&text, text, 2));
  EXPECT_EQ(u16string_view(text), u"rs");
  EXPECT_TRUE(SysReAllocString(&text, nullptr));
  EXPECT_EQ(text, nullptr);
  EXPECT_FALSE(SysReAllocString(nullptr, u"x"));
}

TEST(PascalStrings, AreCutAt255Bytes) {
  unsigned char pascal[257] = {};
  pascal[256] = '#';
  EXPECT_EQ(CToPStr(pascal, "ab"), 2);
  EXPECT_EQ(std::string(pascal, pascal + 3), std::string("\x02") + "ab");
  EXPECT_EQ(WideToPStr(pascal, u"\u0141b"), 2);  // the low byte
  EXPECT_EQ(pascal[1], 0x41);
  EXPECT_EQ(WideToPStr(pascal, std::u16string(300, u'x').c_str()), 255);
  EXPECT_EQ(pascal[0], 255);
  EXPECT_EQ(pascal[256], '#');
  EXPECT_EQ(CToPStr(pascal, ""), 0);
}

TEST(TaskMemory, KeepsItsContentAsItGrows) {
  char* block = static_cast<char*>(CoTaskMemRealloc(nullptr, 3));
  std::memcpy(block, "abc", 3);
  block = static_cast<char*>(CoTaskMemRealloc(block, 100'000));
  EXPECT_EQ(std::string(block, 3), "abc");
  CoTaskMemFree(block);
  CoTaskMemFree(nullptr);
}

}  // namespace
}  // namespace orvik
