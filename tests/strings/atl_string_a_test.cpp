#include "strings/atl_string_a.h"

#include <gtest/gtest.h>

#include <string_view>

#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/string.h"

namespace orvik {
namespace {

using std::string_view;

TEST(CAtlStringA, NarrowsAndWidensAsLatin1) {
  const CAtlString wide(u"\u20AC\u00E9\u0100z");
  const string_view expected = "?\xE9?z";
  CAtlStringA text(wide);
  EXPECT_EQ(text.View(), expected);
  EXPECT_EQ(CAtlStringA(wide.GetString()).View(), expected);
  EXPECT_EQ(CAtlStringA(wide.GetString(), 2).View(), "?\xE9");
  EXPECT_EQ(CAtlStringA(u'\u20AC', 2).View(), "??");
  EXPECT_EQ((text = u'\u00E9').View(), "\xE9");
  EXPECT_EQ((text = wide.GetString()).View(), expected);
  EXPECT_EQ((text = wide).View(), expected);
  text += u'\u20AC';
  text += u"\u00E9";
  text += "n";
  text += 'c';
  text += text;
  EXPECT_EQ(text.View(), "?\xE9?z?\xE9nc?\xE9?z?\xE9nc");
  EXPECT_EQ(CAtlString(CAtlStringA("\xE9\x80")).View(), u"\u00E9\u0080");
  const CAtlString assigned = CAtlStringA("\xFF");
  EXPECT_EQ(assigned.View(), u"\u00FF");
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
  EXPECT_EQ((a + a).View(), "aa");
  EXPECT_EQ((a + "b").View(), "ab");
  EXPECT_EQ(("b" + a).View(), "ba");
  EXPECT_EQ((a + 'c').View(), "ac");
  EXPECT_EQ(('c' + a).View(), "ca");
  EXPECT_EQ((a + u'\u00E9').View(), "a\xE9");
  EXPECT_EQ((u'\u00E9' + a).View(),
            "\xE9"
            "a");
  EXPECT_EQ((a + u"w").View(), "aw");
  EXPECT_EQ((u"w" + a).View(), "wa");
  EXPECT_EQ((a + w).View(), "a?");
  EXPECT_EQ((w + a).View(), "?a");
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
  EXPECT_EQ(CAtlStringA("\x80").Compare("\xCA"), 1);
  EXPECT_GT(CAtlStringA("\x80"), CAtlStringA("\xCA"));
  EXPECT_EQ(CAtlStringA("\x80").Compare(u"\u00C4"), 0);
  EXPECT_TRUE(CAtlStringA("\x80") == u"\u00C4" && u"\u00C4" == CAtlStringA("\x80"));
  EXPECT_EQ(CAtlStringA("\x80").CompareNoCase(u"\u00E4"), 0);
  EXPECT_EQ(CAtlStringA("a").Compare("ab"), -1);
  EXPECT_EQ(CAtlStringA("a").Compare("A"), 1);
  EXPECT_EQ(CAtlStringA("a").CompareNoCase(CAtlStringA("A")), 0);
  EXPECT_EQ(CAtlStringA("a").Collate("A", false), 0);
  EXPECT_EQ(CAtlStringA("a").Collate(CAtlStringA("A")), 1);
  EXPECT_EQ(CAtlStringA("a").CollateNoCase(u"A"), 0);
  EXPECT_TRUE(CAtlStringA() == static_cast<const char*>(nullptr));
  EXPECT_TRUE("a" < CAtlStringA("b") && CAtlStringA("b") >= u"a" && CAtlStringA("a") != "b");
}

TEST(CAtlStringA, SearchesUpToAZeroByte) {
  const CAtlStringA text("abc\0abd", 7);
  EXPECT_EQ(text.Find("bc"), 1);
  EXPECT_EQ(text.Find("bd"), -1);
  EXPECT_EQ(text.Find("bd", 4), 5);
  EXPECT_EQ(text.Find('d'), 6);  // a byte is sought everywhere
  EXPECT_EQ(text.Find("a", 7), -1);
  EXPECT_EQ(text.Find("", 2), 2);
  EXPECT_EQ(text.Find("", 7), -1);
  EXPECT_EQ(text.Find(CAtlStringA("c\0x", 3)), 2);
  EXPECT_EQ(text.FindOneOf("dc"), 2);
  EXPECT_EQ(text.FindOneOf(CAtlStringA("d")), -1);
  EXPECT_EQ(text.ReverseFind('b'), 5);
  EXPECT_EQ(text.SpanExcluding("d").View(), "abc");
  EXPECT_EQ(CAtlStringA("123x4").SpanIncluding("0123456789").View(), "123");
  EXPECT_EQ(CAtlStringA("123x4").SpanIncluding("").View(), "");
  EXPECT_EQ(CAtlStringA("123x4").SpanExcluding(nullptr).View(), "123x4");
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
