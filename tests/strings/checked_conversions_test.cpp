#include "strings/checked_conversions.h"

#include <gtest/gtest.h>

#include <string_view>

namespace orvik {
namespace {

using std::string_view;
using std::u16string_view;

TEST(CheckedConversions, SayWhereUtf8IsMalformed) {
  const struct {
    string_view source;
    u16string_view target;
    ConversionResult status;
    std::size_t position;
  } cases[] = {
      {string_view("a\0\xC3\xA9", 4), u16string_view(u"a\0\u00E9", 3), conversionOK, 4},
      {"\xF0\x9F\x98\x80", u"\U0001F600", conversionOK, 4},
      {{}, u"", conversionOK, 0},
      {"ab\xFF", u"old", sourceIllegal, 2},
      {"\xE4\xB8\x80\xED\xA0\x80", u"old", sourceIllegal, 3},
      {"ab\xE4\xB8", u"old", sourceExhausted, 2},
  };
  for (const auto& [source, target, status, position] : cases) {
    CAtlString text(u"old");
    const ConversionReport report = WideFromUtf8(source, text);
    EXPECT_EQ(report.status, status);
    EXPECT_EQ(report.position, position);
    EXPECT_EQ(text, target);
    CAtlStringA back;
    EXPECT_EQ(report && Utf8FromWide(text, back) && back == source, status == conversionOK);
  }
}

TEST(CheckedConversions, SayWhichUnitHasNoCounterpart) {
  const struct {
    ConversionReport (*convert)(TextView<char16_t>, CAtlStringA&);
    u16string_view source;
    string_view target;
    ConversionResult status;
    std::size_t position;
  } cases[] = {
      {Utf8FromWide, u"\xDC00", "old", sourceIllegal, 0},
      {Utf8FromWide, u"a\u00E9\xD800z", "old", sourceIllegal, 2},
      {Utf8FromWide, u"a\xD800", "old", sourceExhausted, 1},
      {Latin1FromWide, u"a\u00E9", "a\xE9", conversionOK, 2},
      {Latin1FromWide, u"\u00E9\u20AC", "old", sourceIllegal, 1},
      {MacRomanFromWide, u"a\u00C4", "a\x80", conversionOK, 2},
      {MacRomanFromWide, u"\u4E00", "old", sourceIllegal, 0},
      {MacRomanFromWide, u"", "", conversionOK, 0},
  };
  for (const auto& [convert, source, target, status, position] : cases) {
    CAtlStringA text("old");
    const ConversionReport report = convert(source, text);
    EXPECT_EQ(report.status, status);
    EXPECT_EQ(report.position, position);
    EXPECT_EQ(text, target);
  }
}

}  // namespace
}  // namespace orvik
