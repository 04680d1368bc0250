#include "strings/atl_array.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "strings/atl_string.h"
#include "tests/support/test_environment.h"

namespace orvik {
namespace {

using Strings = CAtlArray<CAtlString, CElementTraits<CAtlString>>;

std::u16string Joined(const Strings& array) {
  std::u16string text;
  for (const CAtlString& string : array) text += std::u16string(string.View()) + u'|';
  return text;
}

// The capacities up to `count`: the storage moves when one is exceeded.
std::vector<std::size_t> CapacitiesUpTo(CAtlArray<int>& array, std::size_t count) {
  std::vector<std::size_t> capacities;
  for (std::size_t old = array.GetCount(); old < count; ++old) {
    const int* const before = array.GetData();
    array.Add(static_cast<int>(old));
    if (before != nullptr && array.GetData() != before) capacities.push_back(old);
  }
  return capacities;
}

TEST(CAtlArray, GrowsByTheFixedRule) {
  CAtlArray<int> automatic, by_ten, large;
  // One, then steps of 4 until an eighth of the count is more.
  EXPECT_EQ(CapacitiesUpTo(automatic, 60),
            (std::vector<std::size_t>{1, 5, 9, 13, 17, 21, 25, 29, 33, 37, 41, 46, 51, 57}));
  for (std::size_t i = 0; i < 60; ++i) EXPECT_EQ(automatic[i], static_cast<int>(i));
  ASSERT_TRUE(by_ten.SetCount(0, 10));
  EXPECT_EQ(CapacitiesUpTo(by_ten, 35), (std::vector<std::size_t>{10, 20, 30}));
  ASSERT_TRUE(large.SetCount(100'000));
  EXPECT_EQ(CapacitiesUpTo(large, 102'000),  // an eighth is limited to 1024
            (std::vector<std::size_t>{100'000, 101'024}));
}

TEST(CAtlArray, SetCountConstructsDestroysAndFrees) {
  const CAtlString text(u"text");
  Strings array;
  array.Add(text);
  array.Add(text);
  EXPECT_EQ(text.GetData()->ref_count, 3);
  ASSERT_TRUE(array.SetCount(4));
  EXPECT_EQ(Joined(array), u"text|text|||");
  ASSERT_TRUE(array.SetCount(1));
  EXPECT_EQ(text.GetData()->ref_count, 2);
  array.RemoveAll();
  EXPECT_EQ(text.GetData()->ref_count, 1);
  EXPECT_EQ(array.GetData(), nullptr);
  CAtlArray<int> zeroed;
  ASSERT_TRUE(zeroed.SetCount(3));
  EXPECT_EQ(zeroed[0] + zeroed[1] + zeroed[2], 0);
}

TEST(CAtlArray, InsertsBeforeWithinAndPastTheEnd) {
  Strings array;
  const std::tuple<std::size_t, const char16_t*, std::size_t, std::u16string> cases[] = {
      {2, u"c", 1, u"||c|"},
      {0, u"a", 2, u"a|a|||c|"},
      {5, u"e", 1, u"a|a|||c|e|"},
      {1, u"x", 0, u"a|a|||c|e|"},
      {7, u"x", 0, u"a|a|||c|e||"}};
  for (const auto& [index, text, count, expected] : cases) {
    ASSERT_TRUE(array.InsertAt(index, text, count));
    EXPECT_EQ(Joined(array), expected);
  }
}

TEST(CAtlArray, TakesItsOwnElements) {
  Strings array;
  array.Add(u"0");
  for (int i = 1; i < 40; ++i) EXPECT_EQ(array.Add(array[0]), static_cast<std::size_t>(i));
  array[39] = u"39";
  for (int i = 0; i < 40; ++i) ASSERT_TRUE(array.InsertAt(3, array[array.GetCount() - 1], 2));
  EXPECT_EQ(array.GetCount(), 120u);
  EXPECT_EQ(array[3].View(), u"39");
  EXPECT_EQ(array[2].View(), u"0");
}

TEST(CAtlArray, StaysAsItWasWithoutMemory) {
  constexpr auto kMost = static_cast<std::size_t>(-1);
  CAtlArray<int> numbers{1};
  EXPECT_FALSE(numbers.SetCount(kMost / sizeof(int)) || numbers.SetCount(kMost) ||
               numbers.InsertAt(1, 2, kMost) || numbers.InsertAt(kMost, 2, 2) ||
               numbers.InsertAt(0, 2, kMost - 1));
  EXPECT_EQ((std::vector(numbers.begin(), numbers.end())), std::vector{1});
}

// Its copy constructor throws when it makes `budget` negative. `alive` counts the objects.
struct Fragile {
  static inline int budget = 0;
  static inline int alive = 0;
  explicit Fragile(int number = 0) : value(number) { ++alive; }
  Fragile(const Fragile& other) : value(other.value) {
    if (--budget < 0) throw std::bad_alloc();
    ++alive;
  }
  ~Fragile() { --alive; }
  int value;
};

TEST(CAtlArray, StaysAsItWasWhenAnElementThrows) {
  for (int budget = 0; budget < 5; ++budget) {
    CAtlArray<Fragile> array;
    Fragile::budget = 100;
    for (int i = 0; i < 3; ++i) array.Add(Fragile(i));
    const Fragile other(9);
    Fragile::budget = budget;
    if (budget < 4) {  // a copy of the element and the three inserted
      EXPECT_THROW(array.InsertAt(1, other, 3), std::bad_alloc);
    } else {
      EXPECT_TRUE(array.InsertAt(1, other, 3));
    }
    ASSERT_EQ(array.GetCount(), budget < 4 ? 3u : 6u);
    EXPECT_EQ(array[array.GetCount() - 1].value, 2);
    EXPECT_EQ(Fragile::alive, static_cast<int>(array.GetCount()) + 1);
  }
  EXPECT_EQ(Fragile::alive, 0);
}

TEST(CAtlArray, ReadsAsAContainerAndThrowsForAnIndexNotBelowTheCount) {
  Strings array{u"a", u"b", u"c", u"d"};
  EXPECT_EQ(array.size() + array.empty(), 4u);
  array.RemoveAt(3);
  array.RemoveAt(0, 2);
  array.RemoveAt(1, 0);
  EXPECT_EQ(Joined(array), u"c|");
  for (const auto& [index, count] :
       {std::pair<std::size_t, std::size_t>{1, 1}, {0, 2}, {2, 0}, {0, Strings::kNoIndex}}) {
    EXPECT_THROW(array.RemoveAt(index, count), std::out_of_range);
  }
  EXPECT_THROW(array.GetAt(1), std::exception);
  EXPECT_THROW(std::as_const(array)[static_cast<std::size_t>(-1)], std::exception);
  CAtlArray<int> numbers{3, 1, 2};
  std::ranges::sort(numbers);
  EXPECT_EQ(std::vector<int>(numbers.begin(), numbers.end()), (std::vector{1, 2, 3}));
}

}  // namespace
}  // namespace orvik
