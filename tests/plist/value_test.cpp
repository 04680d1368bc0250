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

}  // namespace
}  // namespace orvik::plist
