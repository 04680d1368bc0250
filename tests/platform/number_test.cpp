#include "platform/core_foundation/number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace orvik {
namespace {

using Number = Owned<const NSNumber>;

constexpr auto Real = [](double value) { return Number(NSNumber::CreateReal(value)); };
constexpr auto Signed = [](std::int64_t value) { return Number(NSNumber::Create(value)); };
constexpr auto Unsigned = [](std::uint64_t value) {
  return Number(NSNumber::CreateUnsigned(value));
};

TEST(CFNumberTest, EveryTypeGivesItsValueBack) {
  const int small = -77;
  const SInt64 large = std::numeric_limits<SInt64>::min();
  const double real = 2.5;
  const std::tuple<CFNumberType, const void*, std::size_t> kTypes[] = {
      {kCFNumberIntType, &small, sizeof small},
      {kCFNumberSInt64Type, &large, sizeof large},
      {kCFNumberDoubleType, &real, sizeof real}};
  for (const auto& [type, value, size] : kTypes) {
    std::int64_t back = -1;
    const Number number(CFNumberCreate(nullptr, type, value));
    EXPECT_EQ(CFNumberIsFloatType(number.get()), type == kCFNumberDoubleType);
    EXPECT_TRUE(CFNumberGetValue(number.get(), type, &back));
    EXPECT_EQ(std::memcmp(value, &back, size), 0) << type;
  }
  std::int64_t back = -1;
  EXPECT_EQ(CFNumberCreate(nullptr, 0, &small), nullptr);
  EXPECT_FALSE(CFNumberGetValue(Real(1).get(), 99, &back));
}

TEST(CFNumberTest, LossyConversionsGiveTheNearestValueAndFalse) {
  constexpr int kMax = std::numeric_limits<int>::max();
  constexpr int kMin = std::numeric_limits<int>::min();
  const std::tuple<Number, int, bool> cases[] = {
      {Real(7.0), 7, true},       {Real(-INFINITY), kMin, false},
      {Real(2.9), 2, false},      {Unsigned(~std::uint64_t{0}), kMax, false},
      {Real(NAN), 0, false},      {Signed(std::int64_t{1} << 40), kMax, false},
      {Real(-2.9), -2, false},    {Signed(-(std::int64_t{1} << 40)), kMin, false},
      {Real(1e300), kMax, false}, {Number(NSNumber::CreateBoolean(true)), 1, true}};
  for (const auto& [number, expected, exact] : cases) {
    int value = -1;
    EXPECT_EQ(CFNumberGetValue(number.get(), kCFNumberIntType, &value), exact);
    EXPECT_EQ(value, expected);
  }
  double real = 0;
  EXPECT_FALSE(
      CFNumberGetValue(Signed((std::int64_t{1} << 53) + 1).get(), kCFNumberDoubleType, &real));
  EXPECT_EQ(real, 9007199254740992.0);
}

TEST(CFNumberTest, ComparesByExactValue) {
  const Number numbers[] = {Real(NAN),
                            Real(-INFINITY),
                            Signed(std::numeric_limits<std::int64_t>::min()),
                            Signed(-1),
                            Real(-0.5),
                            Signed(0),
                            Real(0.5),
                            Real(9007199254740992.0),
                            Signed(9007199254740993),
                            Signed(std::numeric_limits<std::int64_t>::max()),
                            Unsigned(std::uint64_t{1} << 63),
                            Unsigned(~std::uint64_t{0}),
                            Real(18446744073709551616.0)};
  for (std::size_t i = 0; i < std::size(numbers); ++i) {
    for (std::size_t j = 0; j < std::size(numbers); ++j) {
      const int expected = i < j ? -1 : i > j ? 1 : 0;
      EXPECT_EQ(numbers[i]->compare(numbers[j].get()), expected) << i << j;
    }
  }
  EXPECT_TRUE(CFEqual(Real(3).get(), Signed(3).get()));
  EXPECT_EQ(Real(3)->hash(), Signed(3)->hash());
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, Signed(1).get()));
}

TEST(CFBooleanTest, ThereAreTwoOfThem) {
  const Number yes(NSNumber::CreateBoolean(true));
  EXPECT_EQ(yes.get(), kCFBooleanTrue);
  EXPECT_EQ(NSNumber::numberWithBool(NO), kCFBooleanFalse);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(Signed(1).get()));
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
  EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
}

TEST(NSNumberTest, DescribesItself) {
  const NSAutoreleasePool pool;
  EXPECT_EQ(Real(2.5).get()->description()->ToUtf8(), "2.5");
  EXPECT_EQ(Signed(-3).get()->description()->ToUtf8(), "-3");
  EXPECT_EQ(Unsigned(~std::uint64_t{0}).get()->description()->ToUtf8(), "18446744073709551615");
  EXPECT_EQ(kCFBooleanTrue->description()->ToUtf8(), "1");
}

}  // namespace
}  // namespace orvik
