#include "strings/atl_string.h"

#include <gmock/gmock.h>

#include <compare>
#include <ranges>
#include <sstream>
#include <type_traits>
#include <unordered_set>

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "strings/atl_string_a.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using std::u16string_view;
using namespace std::string_literals;

// Missing operators do not compile. Without the deleted overloads an array, a platform string and a
// narrow string would convert in one step.
template <typename A, typename B>
concept Adds = requires(const A& a, const B& b) {
  a + b;
};
template <typename A, typename B>
concept Orders = requires(const A& a, const B& b) {
  a == b;
};
template <typename String>
concept YieldsTokens = requires(String text) {
  static_cast<String&&>(text).Tokens(u",");
};

using Wide = const char16_t*;
using Narrow = const char*;
static_assert(!Adds<CAtlString, int> && !Adds<CAtlString, double> && !Adds<CAtlString, long> &&
              !Adds<CAtlStringA, int>);  // no pointer arithmetic
static_assert(!Orders<CAtlString, CFStringRef> && !Orders<CAtlString, CAtlStringA>);
static_assert(!std::is_convertible_v<CAtlString, bool> &&
              !std::is_convertible_v<CAtlString, CFTypeRef>);  // would leak
static_assert(std::is_same_v<decltype(CAtlString() <=> CAtlString()), std::strong_ordering> &&
              std::is_same_v<decltype(CAtlString() <=> u""), std::weak_ordering>);
static_assert(YieldsTokens<const CAtlString&> && !YieldsTokens<CAtlString>);  // dangling tokens
static_assert(std::ranges::contiguous_range<const CAtlString>);
static_assert(std::is_nothrow_move_constructible_v<CAtlString> &&
              std::is_nothrow_move_assignable_v<CAtlStringA> &&
              std::is_nothrow_swappable_v<CAtlString>);

using Texts = std::vector<std::u16string>;

TEST(CAtlString, MadeAndAssignedFromEveryType) {
  const Owned<const NSString> platform(CAtlString(u"p\u20AC").CreateCFStringRef(nullptr));
  const std::pair<CAtlString, u16string_view> cases[] = {
      {CAtlString(u"abc", 2), u"ab"},    {CAtlString(u'\u4E00', 2), u"\u4E00\u4E00"},
      {CAtlString("a\xE9"), u"a\u00E9"}, {CAtlString('\xFF', 2), u"\u00FF\u00FF"},
      {CAtlString("abc", 2), u"ab"},     {CAtlString(platform.get()), u"p\u20AC"},
      {CAtlStringA("\x80z"), u"\u0080z"}};
  for (const auto& [string, expected] : cases) {
    EXPECT_EQ(string.View(), expected);
    EXPECT_EQ(string.GetAllocLength(), static_cast<int>(expected.size()));
  }
  CAtlString text(u"wide");
  const CAtlString shared = text;
  EXPECT_EQ(TextsOf({text = u"again", text = "\xE9", text = u'u', text = '\x80',
                     text = platform.get(), text = CAtlStringA("n")}),
            (Texts{u"again", u"\u00E9", u"u", u"\u0080", u"p\u20AC", u"n"}));
  EXPECT_EQ((text = shared).GetString(), shared.GetString());
  text.GetBuffer(10);
  const Wide data = text;
  EXPECT_EQ((text = static_cast<Wide>(nullptr)).GetString(), data);  // an unshared block stays
  EXPECT_EQ((text = u"x").GetString(), data);
  EXPECT_EQ((text = CAtlStringA()).GetString(), data);
  EXPECT_EQ((text = static_cast<Narrow>(nullptr)).GetString(), data);
  text = u"x";
  EXPECT_EQ((text = static_cast<Narrow>(nullptr)).GetString(), _afxPchNil);
}

TEST(CAtlString, KeepsZeroUnitsInsideOnEveryWay) {
  const CAtlString text(u"a\0b", 3);
  EXPECT_EQ(std::u16string(text).size() + u16string_view(text).size(), 6u);
  const CAtlStringA narrow(text);
  EXPECT_EQ(std::string(narrow), std::string("a\0b", 3));
  EXPECT_EQ(CAtlString(narrow).View(), text.View());
  const CAtlString twice = text + text;
  const Owned<const NSString> over(static_cast<CFStringRef>(twice));
  const Owned<const NSString> copy(twice.CreateCFStringRef(kCFAllocatorDefault));
  EXPECT_TRUE(CFEqual(over.get(), copy.get()));
  EXPECT_EQ(CAtlString(copy.get()).View(), u16string_view(u"a\0ba\0b", 6));
}

TEST(CAtlString, JoinsEveryPair) {
  const CAtlString s(u"s");
  const Wide no_text = nullptr;
  EXPECT_EQ(TextsOf({s + s, s + u"w", u"w" + s, s + "\xE9", "\xE9" + s, s + u'u', u'u' + s,
                     s + '\xFF', '\xFF' + s, s + no_text}),
            (Texts{u"ss", u"sw", u"ws", u"s\u00E9", u"\u00E9s", u"su", u"us", u"s\u00FF",
                   u"\u00FFs", u"s"}));
  EXPECT_EQ((CAtlString() + no_text).GetString(), _afxPchNil);
  const CAtlStringA a("a");
  const CAtlString w(u"\u20AC");
  EXPECT_EQ(TextsOf({a + "b", "b" + a, a + 'c', 'c' + a, a + u'\u00E9', u'\u00E9' + a, a + u"w",
                     u"w" + a, a + w, w + a}),
            (std::vector<std::string>{"ab", "ba", "ac", "ca", "a\xE9", "\xE9\x61", "aw", "wa", "a?",
                                      "?a"}));

  CAtlString all(u"b");
  all += "\xE9";
  all += '\xFF';
  all += all;
  all += no_text;
  all.Append(u"xyz", 2);
  all.ConcatInPlace(2, "12345");
  EXPECT_EQ(all.View(), u"b\u00E9\u00FFb\u00E9\u00FFxy12");
  all.LockBuffer();
  all.ConcatCopy(1, "\xE9z", 1, all.GetString());
  EXPECT_EQ(all.View(), u"\u00E9b");
  EXPECT_EQ(all.GetAllocLength() + all.GetData()->ref_count, 3);
}

TEST(CAtlString, ComparesStringsByUnitsAndArraysByCollation) {
  const CAtlString lower(u"a"), upper(u"A"), b(u"B"), composed(u"\u00E9");
  EXPECT_EQ((std::vector{lower.Compare(upper), lower.Compare(CAtlString(u"ab")),
                         lower.Collate(upper, true)}),
            (std::vector{1, -1, 1}));  // by code units
  EXPECT_TRUE(lower.Compare(b.GetString()) < 0 && lower.Collate(u"A", true) != 0);
  EXPECT_TRUE(b < lower && b > lower.GetString() && b > u"a" && u"a" < b);
  EXPECT_TRUE(CAtlString() == u"" && CAtlString() == nullptr && u"" == CAtlString());
  EXPECT_TRUE(lower != upper && lower != u"b" && lower <= u"a" && lower >= lower);
  // Composed and decomposed: different units, but equal in the collation.
  EXPECT_TRUE(composed != CAtlString(u"e\u0301") && composed == u"e\u0301");
  const std::u16string decomposed(u"e\u0301");
  EXPECT_TRUE(composed == std::u16string(u"\u00E9") && composed > decomposed);
  EXPECT_TRUE(composed == "\xE9" && "\xE9" <= composed && "z" < composed);
  EXPECT_TRUE(CAtlStringA("a") == std::string("a") && CAtlStringA("a") < std::string("b"));
}

TEST(CAtlString, MovesItsBlock) {
  CAtlString text(u"text");
  const Wide data = text;
  CAtlString moved(std::move(text));
  EXPECT_EQ(moved.GetString(), data);
  EXPECT_EQ(text.GetString(), _afxPchNil);  // NOLINT(bugprone-use-after-move)
  text = std::move(moved);
  CAtlString other(u"other");
  swap(text, other);
  EXPECT_EQ(other.GetString(), data);
  // A locked buffer stays if it is large enough.
  text.LockBuffer();
  for (const auto& [from, stays] : {std::pair(u"", true), {u"text", true}, {u"longer", false}}) {
    text = CAtlString(from);
    EXPECT_EQ(text.GetData()->ref_count, stays ? -1 : 1);
    EXPECT_EQ(text.View(), u16string_view(from));
  }
}

TEST(CAtlString, TakesEightBitUnitsByTheirValue) {
  CAtlString text(u"abc");
  EXPECT_EQ(
      (std::vector{text.Insert(3, '\xE9'), text.SetAt(0, '\xFF'), text.Replace('\xE9', '\xEA'),
                   text.Replace(u'b', '\xEA'), text.Remove('\xEA'), text.Insert(1, "\xE9z"),
                   text.Replace("\xE9", "\xEA")}),
      (std::vector{4, 0, 1, 1, 2, 4, 1}));
  EXPECT_EQ(text.View(), u"\u00FF\u00EAzc");
}

TEST(CAtlString, TakesViewsAndStandardStrings) {
  const u16string_view view = u16string_view(u"abcabc").substr(1, 3);
  CAtlString text(u"-");
  text += view;
  text += std::u16string(u"+");
  text += std::string_view("\xE9xx", 1);
  EXPECT_EQ((view + text + view).View(), u"bca-bca+\u00E9bca");
  EXPECT_EQ((std::vector{text.Find(view), text.FindOneOf(view.substr(1)),
                         text.Replace(view, view.substr(2))}),
            (std::vector{1, 2, 1}));
  EXPECT_EQ((text = view.substr(0, 2)).View(), u"bc");
  EXPECT_EQ((text = std::string_view("\xE9")).View(), u"\u00E9");
  EXPECT_EQ(text.ToStdString(), u"\u00E9");
  // 8-bit text of the standard library has no known encoding.
  static_assert(!std::is_constructible_v<CAtlString, std::string> &&
                !std::is_convertible_v<std::string_view, CAtlString>);
}

TEST(CAtlString, MeetsUtf8OfTheStandardLibrary) {
  const std::u16string all = u"a\0\u00E9\u4E00\U0001F600"s;
  const std::string utf8("a\0\xC3\xA9\xE4\xB8\x80\xF0\x9F\x98\x80", 11);
  EXPECT_EQ(CAtlString(all).ToUtf8(), utf8);
  EXPECT_EQ(CAtlString::FromUtf8(std::string_view()).GetString(), _afxPchNil);
  EXPECT_EQ(CAtlString::FromUtf8("a\xE4\xB8z\xC0\xAF").View(), u"a\uFFFD\uFFFDz\uFFFD\uFFFD");
  EXPECT_EQ(CAtlString(u"a\xD800z\xDC00\u00E9").ToUtf8(), "a\xEF\xBF\xBDz\xEF\xBF\xBD\xC3\xA9");
  // Characters across the end of a piece.
  for (int before = 250; before < 260; ++before) {
    const std::string broken = std::string(before, 'x') + "\xF0\x9F\x98" + utf8;
    EXPECT_EQ(CAtlString::FromUtf8(broken).View().substr(before),
              std::u16string(u"\uFFFD\uFFFD\uFFFD") + all);
  }
}

TEST(CAtlString, FoldsCaseAlikeInEveryLocale) {
  for (const char* locale : {"C", "tr_TR.UTF-8"}) {
    const ScopedVariable variable("LC_ALL", locale);
    const CAtlString title(u"TITLE"), lower(u"title");
    const CAtlStringA narrow("TITLE");
    const int equal[] = {title.CompareNoCase(lower), title.Collate(lower, false),
                         CAtlString(u"\u0130").CompareNoCase(CAtlString(u"i\u0307")),
                         narrow.CompareNoCase("title"), narrow.CollateNoCase(u"title")};
    EXPECT_THAT(equal, testing::Each(0)) << locale;
    EXPECT_TRUE(title.EqualFolded(lower) && !title.EqualFolded(u"t\u0131tle")) << locale;
  }
  const CAtlString a(u"a");
  EXPECT_EQ(a.CompareNoCase(u"A") | a.CollateNoCase(u"A") | a.Collate(u"A", false), 0);
}

TEST(CAtlString, WorksWithTheStandardLibrary) {
  const std::unordered_set<CAtlString> set{u"a\0b"_s, CAtlString(u"a"), u"a"_s};
  EXPECT_EQ(set.size() + set.count(CAtlString(u"a\0b", 3)), 3u);
  std::ostringstream out;
  out << CAtlString(u"\u00E9\U0001F600") << ' ' << "\xFF\0"_s;
  EXPECT_EQ(out.str(), std::string("\xC3\xA9\xF0\x9F\x98\x80 \xFF\0", 9));
}

}  // namespace
}  // namespace orvik::test
