#include "strings/atl_string_a.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/string.h"
#include "tests/strings/texts.h"

namespace orvik {
namespace {

using std::string_view;
using test::TextsOf;

using Texts = std::vector<std::string>;

TEST(CAtlStringA, NarrowsAndWidensAsLatin1) {
  const CAtlString wide(u"\u20AC\u00E9\u0100z");
  CAtlStringA text(wide);
  EXPECT_EQ(TextsOf({text, CAtlStringA(wide.GetString()), CAtlStringA(wide.GetString(), 2),
                     CAtlStringA(u'\u20AC', 2), text = u'\u00E9', text = wide.GetString(),
                     text = u"", text = wide}),
            (Texts{"?\xE9?z", "?\xE9?z", "?\xE9", "??", "\xE9", "?\xE9?z", "", "?\xE9?z"}));
  text += u'\u20AC';
  text += u"\u00E9";
  text += "n";
  text += 'c';
  text += text;
  EXPECT_EQ(text.View(), "?\xE9?z?\xE9nc?\xE9?z?\xE9nc");
  const CAtlString assigned = CAtlStringA("\xE9\x80\xFF");
  EXPECT_EQ(assigned.View(), u"\u00E9\u0080\u00FF");
}

TEST(CAtlStringA, EveryEmptyStringIsTheSharedBlock) {
  for (const CAtlStringA& string :
       {CAtlStringA(), CAtlStringA(nullptr), CAtlStringA(""), CAtlStringA(u""), CAtlStringA("a", 0),
        CAtlStringA(u"a", -1), CAtlStringA('x', 0), CAtlStringA(CAtlString()),
        CAtlStringA(static_cast<CFStringRef>(nullptr)), AfxGetEmptyStringA()}) {
    EXPECT_EQ(string.GetString(), _afxPchANil);
    EXPECT_EQ(string.GetData(), &_afxDataANil.header);
  }
}

TEST(CAtlStringA, JoinsEveryPairToNarrowText) {
  const CAtlStringA a("a");
  const CAtlString w(u"\u20AC");
  EXPECT_EQ(TextsOf({a + a, a + "b", "b" + a, a + 'c', 'c' + a, a + u'\u00E9', u'\u00E9' + a,
                     a + u"w", u"w" + a, a + w, w + a}),
            (Texts{"aa", "ab", "ba", "ac", "ca", "a\xE9", "\xE9\x61", "aw", "wa", "a?", "?a"}));
}

TEST(CAtlStringA, MeetsPlatformStringsAsMacRoman) {
  const Owned<const NSString> platform(
      CAtlStringA("\xE9\x80").CreateCFStringRef(kCFAllocatorDefault));
  EXPECT_EQ(CAtlString(platform.get()).View(), u"\u00C8\u00C4");
  CAtlStringA text(platform.get());
  EXPECT_EQ(text.View(), "\xE9\x80");
  const CAtlString wide(u"\u4E00A\U0001F600\u00C4");  // what Mac OS Roman lacks becomes "?"
  const Owned<const NSString> lacking(wide.CreateCFStringRef(kCFAllocatorDefault));
  text = lacking.get();
  EXPECT_EQ(text.View(), "?A?\x80");
  EXPECT_LE(text.GetAllocLength(), wide.GetLength());
  const Owned<const NSString> cut(CAtlStringA("a\0b", 3).CreateCFStringRef(kCFAllocatorDefault));
  EXPECT_EQ(CFStringGetLength(cut.get()), 1);
}

TEST(CAtlStringA, ComparesAsMacRoman) {
  // U+00C4 is the byte 0x80, U+00A0 the byte 0xCA.
  const CAtlStringA a("a"), umlaut("\x80");
  EXPECT_EQ((std::vector{umlaut.Compare("\xCA"), umlaut.Compare(u"\u00C4"), a.Compare("ab"),
                         a.Compare("A"), a.Collate(CAtlStringA("A"))}),
            (std::vector{1, 0, -1, 1, 1}));
  EXPECT_EQ((std::vector{umlaut.CompareNoCase(u"\u00E4"), a.CompareNoCase(CAtlStringA("A")),
                         a.Collate("A", false), a.CollateNoCase(u"A")}),
            std::vector(4, 0));
  EXPECT_TRUE(umlaut > CAtlStringA("\xCA") && umlaut == u"\u00C4" && u"\u00C4" == umlaut);
  EXPECT_TRUE(CAtlStringA() == static_cast<const char*>(nullptr));
  EXPECT_TRUE("a" < CAtlStringA("b") && CAtlStringA("b") >= u"a" && CAtlStringA("a") != "b");
}

TEST(CAtlStringA, SearchesUpToAZeroByte) {
  const CAtlStringA text("abc\0abd", 7);
  EXPECT_EQ((std::vector{text.Find("bc"), text.Find("bd"), text.Find("bd", 4), text.Find("a", 7),
                         text.Find("", 2), text.Find("", 7), text.Find(CAtlStringA("c\0x", 3)),
                         text.FindOneOf("dc"), text.FindOneOf(CAtlStringA("d"))}),
            (std::vector{1, -1, 5, -1, 2, -1, 2, 2, -1}));
  EXPECT_EQ(text.Find('d'), 6);  // a byte is sought everywhere
  EXPECT_EQ(text.ReverseFind('b'), 5);
  const CAtlStringA digits("123x4");
  EXPECT_EQ(TextsOf({text.SpanExcluding("d"), digits.SpanIncluding("0123456789"),
                     digits.SpanIncluding(""), digits.SpanExcluding(nullptr)}),
            (Texts{"abc", "123", "", "123x4"}));
  int position = 0;
  EXPECT_EQ(CAtlStringA(",a,,b,").Tokenize(u",", position).View(), "a");
  EXPECT_EQ(CAtlStringA(",a,,b,").Tokenize(",", position).View(), "b");
}

TEST(CAtlStringA, SearchesFarUpToAZeroByte) {
  for (const int zero : {0, 255, 256, 300, 511, 2000}) {
    for (const int place : {0, 1, 253, 254, 255, 256, 257, 765, 1000}) {
      CAtlStringA text('x', 1500);
      text.SetAt(place, 'a');
      text.SetAt(place + 1, 'b');
      if (zero < 1500) text.SetAt(zero, '\0');
      const auto expected = std::string_view(text.GetString()).find("ab");
      EXPECT_EQ(text.Find("ab"), static_cast<int>(expected)) << zero << ' ' << place;
    }
  }
}

TEST(CAtlStringA, TrimsReplacesAndMapsCase) {
  EXPECT_EQ(CAtlStringA("\t\v a\xA0 \r").Trim().View(), "a\xA0");
  EXPECT_EQ(CAtlStringA("\xE9\x80x\xE9").TrimLeft("\x80\xE9").TrimRight("\xE9").View(), "x");
  CAtlStringA text("abab");
  EXPECT_EQ(text.Replace("ab", "xyz"), 2);
  EXPECT_EQ(text.View(), "xyzxyz");
  EXPECT_EQ(text.GetAllocLength(), 7);  // one spare byte
  const CAtlStringA shared = text;
  EXPECT_EQ(text.MakeUpper().View(), "XYZXYZ");
  EXPECT_EQ(CAtlStringA("\xC9Z").MakeLower().View(), "\xC9z");
  EXPECT_EQ(shared.View(), "xyzxyz");
}

TEST(CAtlStringA, Formats) {
  CAtlStringA text("own");
  text.Format("%s\xE9%S %d%%", text.GetString(), u"\u00C8", 42);
  EXPECT_EQ(text.View(), "own\xE9\xE9 42%");
  EXPECT_EQ(text.GetAllocLength(), text.GetLength() + 1);
  text.Format("%%s");
  text.AppendFormat("%d", 0);
  EXPECT_EQ(text.View(), "%s0");
  text.Format("%@;", CFSTR(u"object"));
  EXPECT_EQ(text.View(), "object;");
  const CAtlStringA shared = text;
  text.Format("%S", u"\u4E00");  // Mac OS Roman lacks it
  text.AppendFormat("%S", u"\u4E00");
  EXPECT_EQ(text.GetString(), shared.GetString());
}

}  // namespace
}  // namespace orvik
