#include "platform/core_foundation/number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "platform/core_foundation/owned.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/string.h"

namespace orvik {
namespace {

using Number = Owned<const NSNumber>;

Number Real(double value) {
  return Number(NSNumber::CreateReal(value));
}
Number Signed(std::int64_t value) {
  return Number(NSNumber::Create(value));
}
Number Unsigned(std::uint64_t value) {
  return Number(NSNumber::CreateUnsigned(value));
}

TEST(CFNumberTest, EveryTypeGivesItsValueBack) {
  constexpr CFNumberType kLong = sizeof(long) == 8 ? kCFNumberSInt64Type : kCFNumberSInt32Type;
  static constexpr struct {
    CFNumberType type, kept_as;
    std::size_t size;
  } kTypes[] = {{kCFNumberSInt8Type, kCFNumberSInt8Type, 1},
                {kCFNumberSInt16Type, kCFNumberSInt16Type, 2},
                {kCFNumberSInt32Type, kCFNumberSInt32Type, 4},
                {kCFNumberSInt64Type, kCFNumberSInt64Type, 8},
                {kCFNumberCharType, kCFNumberSInt8Type, 1},
                {kCFNumberShortType, kCFNumberSInt16Type, 2},
                {kCFNumberIntType, kCFNumberSInt32Type, 4},
                {kCFNumberLongType, kLong, sizeof(long)},
                {kCFNumberLongLongType, kCFNumberSInt64Type, 8},
                {kCFNumberCFIndexType, kLong, sizeof(CFIndex)}};
  for (const auto& [type, kept_as, size] : kTypes) {
    const std::int64_t value = -77;
    std::int64_t back = -1;
    const Number number(CFNumberCreate(nullptr, type, &value));
    EXPECT_EQ(CFNumberGetType(number.get()), kept_as);
    EXPECT_EQ(CFNumberGetByteSize(number.get()), static_cast<CFIndex>(size));
    EXPECT_FALSE(CFNumberIsFloatType(number.get()));
    EXPECT_TRUE(CFNumberGetValue(number.get(), type, &back));
    EXPECT_EQ(std::memcmp(&value, &back, size), 0) << type;
  }
  const float value = 2.5F;
  double back = 0;
  const Number number(CFNumberCreate(nullptr, kCFNumberFloatType, &value));
  EXPECT_TRUE(CFNumberIsFloatType(number.get()));
  EXPECT_TRUE(CFNumberGetValue(number.get(), kCFNumberDoubleType, &back));
  EXPECT_EQ(back, 2.5);
  EXPECT_EQ(CFNumberCreate(nullptr, 0, &value), nullptr);
  EXPECT_FALSE(CFNumberGetValue(number.get(), 99, &back));
}

TEST(CFNumberTest, LossyConversionsGiveTheNearestValueAndFalse) {
  constexpr int kMax = std::numeric_limits<int>::max();
  constexpr int kMin = std::numeric_limits<int>::min();
  const struct {
    Number number;
    int expected;
    bool exact;
  } cases[] = {{Real(2.9), 2, false},
               {Real(-2.9), -2, false},
               {Real(1e300), kMax, false},
               {Real(-INFINITY), kMin, false},
               {Real(NAN), 0, false},
               {Real(7.0), 7, true},
               {Signed(std::int64_t{1} << 40), kMax, false},
               {Signed(-(std::int64_t{1} << 40)), kMin, false},
               {Unsigned(~std::uint64_t{0}), kMax, false},
               {Number(NSNumber::CreateBoolean(true)), 1, true}};
  for (const auto& one : cases) {
    int value = -1;
    EXPECT_EQ(CFNumberGetValue(one.number.get(), kCFNumberIntType, &value), one.exact);
    EXPECT_EQ(value, one.expected);
  }
  double real = 0;
  EXPECT_FALSE(
      CFNumberGetValue(Signed((std::int64_t{1} << 53) + 1).get(), kCFNumberDoubleType, &real));
  EXPECT_EQ(real, 9007199254740992.0);
  float narrow = 0;
  EXPECT_FALSE(CFNumberGetValue(Real(1e300).get(), kCFNumberFloatType, &narrow));
  EXPECT_EQ(narrow, std::numeric_limits<float>::max());
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
      EXPECT_EQ(CFNumberCompare(numbers[i].get(), numbers[j].get(), nullptr), expected) << i << j;
    }
  }
  EXPECT_TRUE(CFEqual(Real(3).get(), Signed(3).get()));
  EXPECT_EQ(CFHash(Real(3).get()), CFHash(Signed(3).get()));
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
