#include "plist/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <thread>
#include <type_traits>

#include "plist/differences.h"
#include "plist/entry_index.h"
#include "plist/forms.h"

namespace orvik::plist {
namespace {

using namespace std::string_literals;

// An array in an array, and so on.
Value Nested(std::size_t depth) {
  Value value = Value::Array();
  for (std::size_t i = 1; i < depth; ++i) value = Value::Array({value});
  return value;
}

// A single character would be stored as a number.
static_assert(!std::is_constructible_v<Value, char16_t> && !std::is_constructible_v<Value, char>);
static_assert(std::is_constructible_v<Value, signed char>);

// As a loop over the result of a read does.
TEST(PlistValue, PartsOfATemporaryKeepIt) {
  const auto made = [] {
    return Value::Dictionary({{u"one", 1}, {u"list", Value::Array({2, 3})}});
  };
  std::int64_t sum = 0;
  for (const auto& [key, value] : made().entries()) {
    if (value.is_array()) {
      for (const Value& element : Value(value).elements()) sum += element == Value(2) ? 20 : 300;
    } else {
      sum += key.text() == Text(u"one") ? 1 : 0;
    }
  }
  EXPECT_EQ(sum, 321);
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
  // Without another owner a change is made in place.
  const std::vector<Value>* const elements = &other.Find(u"list")->elements();
  other.Change(u"list")->Append(4);
  EXPECT_EQ(&other.Find(u"list")->elements(), elements);
}

TEST(PlistValue, DictionariesKeepTheirOrderAndFindEveryKey) {
  Value dictionary = Value::Dictionary();
  for (int i = 0; i < 1000; ++i) dictionary.Set(std::u16string(1, char16_t(0x4E00 + i)), i);
  for (int i = 0; i < 1000; i += 2) dictionary.Remove(std::u16string(1, char16_t(0x4E00 + i)));
  dictionary.Set(std::u16string(1, 0x4E01), u"again");
  for (int i = 1000; i < 2000; ++i) dictionary.Set(std::u16string(1, char16_t(0x4E00 + i)), i);
  EXPECT_EQ(dictionary.count(), 1500u);
  int expected = 1;
  for (const auto& entry : dictionary.entries()) {
    EXPECT_EQ(entry.key.text()[0], 0x4E00 + expected);
    EXPECT_EQ(dictionary.Find(entry.key.text()), &entry.value);
    expected += expected < 999 ? 2 : 1;
  }
  // One text in both of its forms is one key.
  dictionary.Set(Text::Latin1("\xE9"), 1);
  dictionary.Set(u"\u00E9", 2);
  EXPECT_EQ(*dictionary.Find(Text::Latin1("\xE9")), 2);
}

TEST(PlistValue, EqualityIsThatOfTheWrittenFile) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<Value> different = {Value()};
  for (const char* xml : {"<integer>1</integer>",
                          "<real>1</real>",
                          "<true/>",
                          "<string>1</string>",
                          "<real>0</real>",
                          "<integer>0</integer>",
                          "<real>-0</real>",
                          "<false/>",
                          "<real>nan</real>",
                          "<string/>",
                          "<date>2001-01-01T00:00:00Z</date>",
                          "<date>2001-01-01T00:00:01Z</date>",
                          "<date exact='8000000000000000'>2001-01-01T00:00:00Z</date>",
                          "<data>MQ==</data>",
                          "<data/>",
                          "<integer>18446744073709551615</integer>",
                          "<integer>-1</integer>",
                          "<array/>",
                          "<dict/>",
                          "<array><integer>1</integer></array>",
                          "<array><real>1</real></array>",
                          "<dict><key>a</key><integer>1</integer></dict>",
                          "<dict><key>a</key><real>1</real></dict>",
                          "<dict><key>b</key><integer>1</integer></dict>"}) {
    different.push_back(Read(std::string_view(xml)).root);
  }
  for (const Value& one : different) {
    for (const Value& other : different) EXPECT_EQ(one == other, &one == &other);
  }
  EXPECT_EQ(Value(nan), Value(-nan));
  EXPECT_EQ(Value::Dictionary({{u"a", 1}, {u"b", 2}}), Value::Dictionary({{u"b", 2}, {u"a", 1}}));
  EXPECT_EQ(Value(u"\u00E9"), *Value::FromUtf8("\u00E9"));
  EXPECT_EQ(Value::FromUtf8("\xFF"), std::nullopt);
}

// Deeper than the stack of a thread could follow by recursion.
TEST(PlistValue, DeepTreesAreComparedAndFreedWithoutRecursion) {
  Value one = Nested(200'000);
  Value other = Nested(200'000);
  EXPECT_EQ(one, other);
  EXPECT_EQ(FindFault(Nested(kMaximumDepth)), std::nullopt);
  EXPECT_TRUE(FindFault(Nested(kMaximumDepth + 1)));
  EXPECT_FALSE(WriteBinary(one));
}

TEST(PlistValue, NoValueCannotBeWritten) {
  Value tree = Value::Dictionary({{u"a", Value::Array({1, Value()})}});
  Failure failure;
  EXPECT_FALSE(WriteXml(tree, &failure));
  EXPECT_EQ(failure.path, "a/1");
  EXPECT_FALSE(failure.is_too_large);
  EXPECT_EQ(FindFault(tree), "a/1");
}

TEST(PlistValue, EntriesAreMadeOnceForAllThreads) {
  std::string xml = "<dict>";
  for (int i = 0; i < 500; ++i) {
    xml += "<key>k" + std::to_string(i) + "</key><dict><key>n</key><integer>1</integer></dict>";
  }
  const Value root = Read(xml + "</dict>").root;
  ASSERT_NE(root.deferred(), nullptr);
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([copy = root]() mutable {
      EXPECT_EQ(*copy.Find(u"k499")->Find(u"n"), 1);
      copy.Set(u"k0", 0);
      EXPECT_EQ(copy.count(), 500u);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(root.Find(u"k0")->is_dictionary());
  EXPECT_EQ(root.deferred(), nullptr);
}

TEST(PlistDifferences, ListEveryValueOnce) {
  const Value before = Value::Dictionary(
      {{u"same", 1},
       {u"gone", Value::Dictionary({{u"b", 2}, {u"a", 1}, {u"none", Value::Dictionary()}})},
       {u"both", Value::Dictionary({{u"x", 1}, {u"y", Value::Array({1})}})},
       {u"key", Value::Dictionary({{u"x", 1}})},
       {u"type", 1}});
  const Value after =
      Value::Dictionary({{u"type", 1.0},
                         {u"same", 1},
                         {u"new", Value::Dictionary()},
                         {u"key", u"now a value"},
                         {u"both", Value::Dictionary({{u"y", Value::Array({2})}, {u"x", 1}})}});
  const std::vector<Difference> expected = {
      {{u"both", u"y"}, Value::Array({1}), Value::Array({2})},
      {{u"gone", u"a"}, 1, {}},
      {{u"gone", u"b"}, 2, {}},
      {{u"gone", u"none"}, Value::Dictionary(), {}},
      {{u"key"}, Value::Dictionary({{u"x", 1}}), u"now a value"},
      {{u"new"}, {}, Value::Dictionary()},
      {{u"type"}, 1, 1.0}};
  EXPECT_EQ(FindDifferences(before, after), expected);
  std::vector<Difference> mirrored = expected;
  for (Difference& each : mirrored) std::swap(each.before, each.after);
  EXPECT_EQ(FindDifferences(after, before), mirrored);
  EXPECT_TRUE(FindDifferences(before, before).empty());
  EXPECT_EQ(FindDifferences(Value(), after).size(), 6u);
}

TEST(PlistMerge, KeepsWhatOnlyTheBaseHasAndRefusesToReplaceContainers) {
  const Value base =
      Value::Dictionary({{u"d", Value::Dictionary({{u"x", 1}, {u"y", 1}})}, {u"v", 1}});
  const Value added = Value::Dictionary({{u"d", Value::Dictionary({{u"y", 2}, {u"z", 2}})}});
  Value merged = base;
  EXPECT_TRUE(Merge(merged, added, ReplaceContainers::kNo).changed);
  EXPECT_EQ(merged, Value::Dictionary(
                        {{u"d", Value::Dictionary({{u"x", 1}, {u"y", 2}, {u"z", 2}})}, {u"v", 1}}));
  EXPECT_FALSE(Merge(merged, added).changed);
  EXPECT_EQ(base.Find(u"d")->count(), 2u);

  const struct {
    Value added;
    Path refused;
    bool is_dictionary;
  } kCases[] = {{Value::Dictionary({{u"v", Value::Dictionary()}}), {u"v"}, false},
                {Value::Dictionary({{u"d", 1}}), {u"d"}, true},
                {Value::Dictionary({{u"d", Value::Dictionary({{u"x", Value::Dictionary()}})}}),
                 {u"d", u"x"},
                 false}};
  for (const auto& [other, refused, is_dictionary] : kCases) {
    merged = base;
    const MergeResult result = Merge(merged, other, ReplaceContainers::kNo);
    EXPECT_TRUE(result.is_refused);
    EXPECT_EQ(result.refused, refused);
    EXPECT_EQ(result.is_dictionary, is_dictionary);
    EXPECT_FALSE(Merge(merged, other, ReplaceContainers::kYes).is_refused);
  }
}

// Keys that meet under a hash of multiplications and shifts alone, whatever it starts with: in each
// pair of words a change of the highest bit is undone by the next word.
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

TEST(StringHash, BytesHaveTheHashOfTheirUnits) {
  std::string bytes;
  std::u16string units;
  std::set<std::uint32_t> hashes;
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(HashOfUnits(bytes), HashOfUnits(units));
    hashes.insert(HashOfUnits(bytes));
    bytes += i % 2 == 0 ? '\0' : '\xE9';
    units += i % 2 == 0 ? u'\0' : u'\xE9';
  }
  EXPECT_EQ(hashes.size(), 20u);
}

}  // namespace
}  // namespace orvik::plist
