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
  const SInt64 large = std::numeric_limits<SInt64>::min();
  const double real = 2.5;
  const std::tuple<CFNumberType, const void*, std::size_t> kTypes[] = {
      {kCFNumberSInt64Type, &large, sizeof large}, {kCFNumberDoubleType, &real, sizeof real}};
  for (const auto& [type, value, size] : kTypes) {
    std::int64_t back = -1;
    const Number number(CFNumberCreate(nullptr, type, value));
    EXPECT_EQ(CFNumberIsFloatType(number.get()), type == kCFNumberDoubleType);
    EXPECT_TRUE(CFNumberGetValue(number.get(), type, &back));
    EXPECT_EQ(std::memcmp(value, &back, size), 0) << type;
  }
  std::int64_t back = -1;
  EXPECT_EQ(CFNumberCreate(nullptr, 0, &real), nullptr);
  EXPECT_FALSE(CFNumberGetValue(Real(1).get(), 99, &back));
}

TEST(CFNumberTest, LossyConversionsGiveTheNearestValueAndFalse) {
  constexpr SInt64 kMax = std::numeric_limits<SInt64>::max();
  constexpr SInt64 kMin = std::numeric_limits<SInt64>::min();
  const std::tuple<Number, SInt64, bool> cases[] = {
      {Real(7.0), 7, true},
      {Real(2.9), 2, false},
      {Real(-2.9), -2, false},
      {Real(NAN), 0, false},
      {Real(-INFINITY), kMin, false},
      {Real(-9223372036854775808.0), kMin, true},
      {Real(9223372036854775808.0), kMax, false},
      {Unsigned(~std::uint64_t{0}), kMax, false},
      {Signed(kMax), kMax, true},
      {Number(NSNumber::CreateBoolean(true)), 1, true}};
  for (const auto& [number, expected, exact] : cases) {
    SInt64 value = -1;
    EXPECT_EQ(CFNumberGetValue(number.get(), kCFNumberSInt64Type, &value), exact);
    EXPECT_EQ(value, expected);
  }
  double real = 0;
  EXPECT_FALSE(
      CFNumberGetValue(Signed((std::int64_t{1} << 53) + 1).get(), kCFNumberDoubleType, &real));
  EXPECT_EQ(real, 9007199254740992.0);
}

TEST(CFNumberTest, EqualsByTypeAndValue) {
  EXPECT_TRUE(CFEqual(Signed(3).get(), Unsigned(3).get()));
  EXPECT_EQ(Signed(3)->hash(), Unsigned(3)->hash());
  EXPECT_TRUE(CFEqual(Real(NAN).get(), Real(-NAN).get()));
  EXPECT_EQ(Real(NAN)->hash(), Real(-NAN)->hash());
  EXPECT_FALSE(CFEqual(Real(3).get(), Signed(3).get()));
  EXPECT_FALSE(CFEqual(Real(0.0).get(), Real(-0.0).get()));
  EXPECT_FALSE(CFEqual(Signed(-1).get(), Unsigned(~std::uint64_t{0}).get()));
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
