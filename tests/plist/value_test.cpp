#include <thread>

#include "plist/differences.h"
#include "plist/entry_index.h"
#include "tests/plist/described_lists.h"

namespace orvik::plist {
namespace {

// Types that must not convert: a single character would become a number, bytes have no encoding,
// and every pointer but a text, such as a platform object, would become a boolean.
template <class... Types>
constexpr bool kIsAnyTaken = (std::is_constructible_v<Value, Types> || ...);
static_assert(!kIsAnyTaken<char16_t, char, const char*, char (&)[5], const wchar_t*, void*, int*,
                           std::string, std::string_view, std::nullptr_t, std::optional<Value>>);
template <class... Types>
constexpr bool kAreTaken = (std::is_convertible_v<Types, Value> && ...);
static_assert(kAreTaken<signed char, unsigned long, bool, double, const char16_t*, char16_t (&)[5],
                        std::u16string, std::u16string_view>);

// As a loop over the result of a read; the address sanitizer detects freed memory.
TEST(PlistValue, PartsOfATemporaryKeepIt) {
  std::string found;
  for (const auto& [key, value] : Root("{one = (a, b);}").entries()) {
    for (const Value& element : Value(value).elements())
      found += key.text().ToUtf8() + Describe(element);
  }
  EXPECT_EQ(found, "ones:aones:b");
}

TEST(PlistValue, ChangesOfACopyStayThere) {
  Value one = Value::Dictionary({{u"list", Value::Array({1, 2})}, {u"key", u"text"}});
  const Value inner = *one.Find(u"list");
  Value other = one;
  other.Change(u"list")->Append(3);
  other.Set(u"new", true);
  EXPECT_TRUE(other.Remove(u"key"));
  EXPECT_FALSE(other.Remove(u"key"));
  EXPECT_EQ(one, Value::Dictionary({{u"key", u"text"}, {u"list", Value::Array({1, 2})}}));
  EXPECT_EQ(inner, Value::Array({1, 2}));
  EXPECT_EQ(other, Value::Dictionary({{u"list", Value::Array({1, 2, 3})}, {u"new", true}}));
  // Without another owner, a change is made in place.
  const std::vector<Value>* const elements = &other.Find(u"list")->elements();
  other.Change(u"list")->Append(4);
  EXPECT_EQ(&other.Find(u"list")->elements(), elements);
}

TEST(PlistValue, DictionariesKeepTheirOrderAndFindEveryKey) {
  Value dictionary = Value::Dictionary();
  const auto key = [](int i) { return std::u16string(1, static_cast<char16_t>(0x4E00 + i)); };
  for (int i = 0; i < 1000; ++i) dictionary.Set(key(i), i);
  for (int i = 0; i < 1000; i += 2) dictionary.Remove(key(i));
  dictionary.Set(key(1), u"again");
  for (int i = 1000; i < 2000; ++i) dictionary.Set(key(i), i);
  EXPECT_EQ(dictionary.count(), 1500u);
  int expected = 1;
  for (const auto& entry : dictionary.entries()) {
    EXPECT_EQ(entry.key.text(), key(expected));
    EXPECT_EQ(dictionary.Find(entry.key.text()), &entry.value);
    expected += expected < 999 ? 2 : 1;
  }
  // The same text in both of its forms is a single key.
  dictionary.Set(Text::Latin1("twelve bytes\xE9"), 1);
  dictionary.Set(u"twelve bytes\u00E9", 2);
  EXPECT_EQ(*dictionary.Find(Text::Latin1("twelve bytes\xE9")), 2);
}

TEST(PlistValue, EqualityIsThatOfTheWrittenFile) {
  std::vector<Value> different =
      Root(
          "<array><integer>1</integer><real>1</real><true/><string>1</string><real>0</real>"
          "<integer>0</integer><real>-0</real><false/><real>nan</real><string/>"
          "<date>2001-01-01T00:00:00Z</date><date>2001-01-01T00:00:01Z</date>"
          "<date exact='8000000000000000'>2001-01-01T00:00:00Z</date><data>MQ==</data><data/>"
          "<integer>18446744073709551615</integer><integer>-1</integer><array/><dict/>"
          "<array><integer>1</integer></array><array><real>1</real></array>"
          "<dict><key>a</key><integer>1</integer></dict><dict><key>a</key><real>1</real></dict>"
          "<dict><key>b</key><integer>1</integer></dict></array>")
          .elements();
  different.emplace_back();
  for (const Value& one : different) {
    for (const Value& other : different) EXPECT_EQ(one == other, &one == &other);
  }
  EXPECT_EQ(Value(NAN), Value(-NAN));
  EXPECT_EQ(Value::Dictionary({{u"a", 1}, {u"b", 2}}), Value::Dictionary({{u"b", 2}, {u"a", 1}}));
  EXPECT_EQ(Value(u"\u00E9"), *Value::FromUtf8("\u00E9"));
  EXPECT_EQ(Value::FromUtf8("\xFF"), std::nullopt);
}

// Deeper than recursion on the stack of a thread could go, and an element without a value.
TEST(PlistValue, DeepTreesAreComparedAndFreedWithoutRecursionAndNotWritten) {
  const auto nested = [](std::size_t depth) {
    Value value = Value::Array();
    for (std::size_t i = 1; i < depth; ++i) value = Value::Array({value});
    return value;
  };
  const Value one = nested(200'000);
  EXPECT_EQ(one, nested(200'000));
  EXPECT_FALSE(WriteBinary(one));
  EXPECT_EQ(FindFault(nested(kMaximumDepth)), std::nullopt);
  EXPECT_TRUE(FindFault(nested(kMaximumDepth + 1)));
  const Value tree = Value::Dictionary({{u"a", Value::Array({1, Value()})}});
  Failure failure;
  EXPECT_FALSE(WriteXml(tree, &failure) || failure.is_too_large);
  EXPECT_EQ(failure.path, "a/1");
  EXPECT_EQ(FindFault(tree), "a/1");
}

TEST(PlistValue, EntriesAreMadeOnceForAllThreads) {
  std::string xml = "<dict>";
  for (int i = 0; i < 500; ++i) xml += "<key>k" + std::to_string(i) + "</key><dict/>";
  const Value root = Root(xml + "</dict>");
  ASSERT_NE(root.deferred(), nullptr);
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([copy = root]() mutable {
      EXPECT_TRUE(copy.Find(u"k499")->is_dictionary());
      copy.Set(u"k0", 0);
      EXPECT_EQ(copy.count(), 500u);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(root.Find(u"k0")->is_dictionary());
}

// The fuzz target preference_differences tests that both directions agree.
TEST(PlistDifferences, ListEveryValueOnce) {
  const Value before = Root(
      "{same = 1; gone = {b = 2; a = 1; none = {};}; both = {x = 1; y = (1);}; key = {x = 1;};"
      " type = 00;}");
  const Value after =
      Root("{type = <00>; same = 1; new = {}; key = now; both = {y = (2); x = 1;};}");
  const std::vector<Difference> expected = {{{u"both", u"y"}, Root("(1)"), Root("(2)")},
                                            {{u"gone", u"a"}, u"1", {}},
                                            {{u"gone", u"b"}, u"2", {}},
                                            {{u"gone", u"none"}, Root("{}"), {}},
                                            {{u"key"}, Root("{x = 1;}"), u"now"},
                                            {{u"new"}, {}, Root("{}")},
                                            {{u"type"}, u"00", Root("<00>")}};
  EXPECT_EQ(FindDifferences(before, after), expected);
  EXPECT_EQ(FindDifferences(Value(), after).size(), 6u);
  EXPECT_EQ(FindDifferences(before, after, OneSidedKeys::kWhole).size(), 5u);
}

TEST(PlistMerge, KeepsWhatOnlyTheBaseHasAndRefusesToReplaceContainers) {
  const Value base = Root("{d = {x = 1; y = 1;}; v = 1;}"), added = Root("{d = {y = 2; z = 2;};}");
  Value merged = base;
  EXPECT_TRUE(Merge(merged, added, ReplaceContainers::kNo).changed);
  EXPECT_EQ(merged, Root("{d = {x = 1; y = 2; z = 2;}; v = 1;}"));
  EXPECT_FALSE(Merge(merged, added).changed);
  EXPECT_EQ(base.Find(u"d")->count(), 2u);
  const std::tuple<const char*, Path, bool> kRefused[] = {
      {"{v = {};}", {u"v"}, false},
      {"{d = 1;}", {u"d"}, true},
      {"{d = {x = {};};}", {u"d", u"x"}, false}};
  for (const auto& [other, path, is_dictionary] : kRefused) {
    merged = base;
    const MergeResult result = Merge(merged, Root(other), ReplaceContainers::kNo);
    EXPECT_TRUE(result.is_refused);
    EXPECT_EQ(result.refused, path);
    EXPECT_EQ(result.is_dictionary, is_dictionary);
    EXPECT_FALSE(Merge(merged, Root(other), ReplaceContainers::kYes).is_refused);
  }
}

// Keys that collide under a hash of multiplications and shifts alone, whatever its start value: in
// each pair of words, the next word undoes a change of the highest bit.
TEST(StringHash, CraftedKeysDoNotMeet) {
  constexpr int kPairs = 12;
  std::set<std::uint32_t> hashes;
  for (int choice = 0; choice < 1 << kPairs; ++choice) {
    std::u16string key(8 * kPairs, u'a');
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
      if ((choice >> pair & 1) == 0) continue;
      key[8 * pair + 3] ^= 0x8000;
      key[8 * pair + 7] ^= 0x8000;
      key[8 * pair + 6] ^= 0x0004;
    }
    hashes.insert(HashOfUnits(key));
  }
  EXPECT_GT(hashes.size(), (1u << kPairs) - 8);
}

// ---- Leaves ----

using namespace test;

TEST(PlistLeaves, NumbersOfEveryShapeAreReadOrRefused) {
  EXPECT_EQ(ParseInteger("+0XfF")->bits, 255u);
  EXPECT_EQ(ParseInteger("-9223372036854775808")->bits, std::uint64_t{1} << 63);
  EXPECT_EQ(*ParseInteger("0x8000000000000000"), (Integer{std::uint64_t{1} << 63, true}));
  for (const char* text :
       {"", "-", "+-1", "1 2", "0x", "18446744073709551616", "-9223372036854775809", "1e3"}) {
    EXPECT_FALSE(ParseInteger(text)) << text;
  }
  const std::string zeroes(400, '0');
  const std::pair<std::string, const char*> kReals[] = {{"001e999", "+infinity"},
                                                        {"-1e-999", "-0"},
                                                        {"0." + zeroes + "1", "0"},
                                                        {"." + zeroes + "1", "0"},
                                                        {"9" + zeroes, "+infinity"},
                                                        {"-INF", "-infinity"},
                                                        {" +Infinity\t", "+infinity"},
                                                        {"NAN", "nan"},
                                                        {"0.10", "0.1"}};
  for (const auto& [text, written] : kReals) {
    EXPECT_EQ(Describe(*ParseReal(text)), std::string("r:") + written) << text;
  }
  for (const char* text : {"", "-", ".", "e5", "--1", "1 0", "0x1p3", "1,5", "infinit", "nan(1)"}) {
    EXPECT_FALSE(ParseReal(text)) << text;
  }
}

TEST(PlistLeaves, DatesAreOfTheGregorianCalendar) {
  const auto date = [](double seconds) {
    std::string text;
    AppendDate(text, seconds);
    AppendExactDate(text, seconds);
    return text;
  };
  // Compares with the C library, from the year -565 to 12427.
  for (std::time_t time = -80'000'000'000; time < 330'000'000'000; time += 86'399'999) {
    std::tm utc = {};
    gmtime_r(&time, &utc);
    const int year = 1900 + utc.tm_year;
    char text[100];
    std::snprintf(text, sizeof text, "%s%04d-%02d-%02dT%02d:%02d:%02dZ", year < 0 ? "-" : "",
                  std::abs(year), utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    const auto seconds = static_cast<double>(time - 978307200);
    ASSERT_EQ(ParseDate(text), seconds) << text;
    ASSERT_EQ(date(seconds), text);
  }
  EXPECT_EQ(date(3155632020259200), "99999998-12-01T00:00:00Z");
  EXPECT_EQ(ParseDate(date(-1e12)), -1e12);
  EXPECT_EQ(ParseDate("2001-01-02Z"), 86400);
  EXPECT_EQ(ParseDate("2001Z"), 0);
  EXPECT_EQ(ParseDate("2000-12-31T23:59:60Z"), 0);
  for (const char* text :
       {"", "2001-01-01T00:00:00", "2001-02-29T00:00:00Z", "2001-13-01Z", "2001-00-01Z",
        "2001-01-00Z", "2001-01-32Z", "01-01-01Z", "2001-1-01Z", "2001-1Z", "2001-0:-01Z",
        "2001-0/-01Z", "2001-01-01T24:00:00Z", "2001-01-01T00:60Z", "2001-01-01T00:00:61Z",
        "--2001-01-01Z", "100000000-01-01Z", "99999999999-01-01Z", "2001-01-01T00:00:00.5Z"}) {
    EXPECT_FALSE(ParseDate(text)) << text;
  }
  // The last second before the year 99999999, computed with the mean length of years.
  constexpr double kFarthest = 31556952.0 * (99999999 - 2001);
  EXPECT_EQ(ParseDate(date(kFarthest - 1)), kFarthest - 1);
  const std::pair<double, const char*> kApart[] = {{NAN, "2001-01-01T00:00:00Z exact="},
                                                   {-0.0, "2001-01-01T00:00:00Z exact="},
                                                   {INFINITY, "9999-12-31T23:59:59Z exact="},
                                                   {kFarthest, "9999-12-31T23:59:59Z exact="},
                                                   {-1e300, "0001-01-01T00:00:00Z exact="}};
  for (const auto& [seconds, text] : kApart) EXPECT_TRUE(date(seconds).starts_with(text)) << text;
  EXPECT_TRUE(Contains(*WriteXml(Value::Date(-0.75)),
                       "<date exact=\"bfe8000000000000\">2000-12-31T23:59:59Z</date>\n"));
  // A program that does not know the attribute has changed the text.
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd0000000000000\">2001-01-01T00:00:01Z</date>"), "d:1");
  for (const std::string exact : {"3fd", "3fd000000000000g", "3fd00000000000000"}) {
    EXPECT_EQ(DescribeBytes("<date exact=\"" + exact + "\">2001-01-01T00:00:00Z</date>"), "d:0");
  }
}

TEST(PlistLeaves, DataIsBrokenIntoLines) {
  std::string xml;
  AppendData(xml, std::string(60, '\0'), 1);
  EXPECT_EQ(xml, "\t" + std::string(68, 'A') + "\n\t" + std::string(12, 'A') + "\n");
  AppendData(xml = "", "1234567890123", 20);
  EXPECT_EQ(ParseData(xml), "1234567890123");
  EXPECT_EQ(xml.find('\n'), 20u + 16u);
  EXPECT_EQ(ParseData("Q-Q=="), "A");
  EXPECT_FALSE(ParseData("QUJDR"));
}

std::string Escaped(std::u16string_view text) {
  std::string xml;
  AppendEscapedText(xml, text);
  return xml;
}

std::u16string Unescaped(std::u16string text) {
  UnescapeText(text);
  return text;
}

std::u16string UnitsOf(const std::string& utf8) {
  return Value::FromUtf8(utf8)->text().ToUnits();
}

// Follows the production of the characters of XML 1.0. Both forms of a text are written alike.
TEST(PlistEscape, NamesUnitsThatXmlCannotCarry) {
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const std::u16string text = {u'a', static_cast<char16_t>(unit), u'b'};
    const bool is_carried = unit == 9 || unit == 10 || unit == 13 ||
                            (unit >= 0x20 && unit <= 0xD7FF) || (unit >= 0xE000 && unit <= 0xFFFD);
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04X", unit);
    const std::string escape = "\uFDD0" + std::string(digits);
    const std::string written = unit == 13    ? "&#13;"
                                : unit == '<' ? "&lt;"
                                : unit == '>' ? "&gt;"
                                : unit == '&' ? "&amp;"
                                : is_carried  ? Value(text.substr(1, 1)).text().ToUtf8()
                                              : escape;
    ASSERT_EQ(Escaped(text), "a" + written + "b");
    ASSERT_EQ(Unescaped(UnitsOf("a" + escape + "b")) == text, !is_carried) << escape;
    std::string bytes = {'a', static_cast<char>(unit), 'b'}, xml;
    if (unit < 0x100)
      AppendEscapedText(xml, unit < 0x80 ? Text::Ascii(bytes) : Text::Latin1(bytes));
    ASSERT_EQ(xml, unit < 0x100 ? "a" + written + "b" : "");
  }
  EXPECT_EQ(Escaped(std::u16string{0xD83D, 0xDE00, 0xDE00, 0xD83D, u'x'}),
            "\U0001F600\uFDD0DE00\uFDD0D83Dx");
  EXPECT_EQ(EscapedSurrogates(Text::Latin1("\xE9\x01")), "\u00E9\x01");
  for (const char* foreign :
       {"\uFDD0000G", "\uFDD0000:", "\uFDD0000@", "\uFDD0000/", "\uFDD0001f"}) {
    EXPECT_EQ(Unescaped(UnitsOf(foreign)), UnitsOf(foreign));
  }
}

// Every text of up to six of these pieces, in memory and as another program may have written it.
TEST(PlistEscape, ComesBackAndLeavesForeignTextAlone) {
  const std::u16string pieces[] = {{0},      {0xD800}, {0xFFFE},
                                   {0xFDD0}, u"0000",  u"FDD0",
                                   u"0041",  u"z",     std::u16string{0xFDD0} + u"001F"};
  for (size_t number = 0; number < 9 * 9 * 9 * 9 * 9; ++number) {
    std::u16string text;
    bool xml_can_carry = true;
    for (size_t rest = number; rest > 0; rest /= 9) {
      text += pieces[rest % 9];
      xml_can_carry = xml_can_carry && rest % 9 > 2;
    }
    ASSERT_EQ(Unescaped(UnitsOf(Escaped(text))), text);
    ASSERT_EQ(Unescaped(UnitsOf(EscapedSurrogates(text))), text);
    if (xml_can_carry) {
      ASSERT_EQ(UnitsOf(Escaped(Unescaped(text))), text);
    }
  }
}

}  // namespace
}  // namespace orvik::plist
