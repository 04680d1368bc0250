#include "platform/core_foundation/scalars.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace orvik {
namespace {

Owned<const NSNumber> Number(const plist::Value& value) {
  return Owned<const NSNumber>(NSNumber::Create(value));
}

TEST(NSNumberTest, EqualsByTypeAndValue) {
  EXPECT_TRUE(CFEqual(Number(3).get(), Number(std::uint64_t{3}).get()));
  EXPECT_EQ(Number(3)->hash(), Number(std::uint64_t{3})->hash());
  EXPECT_TRUE(CFEqual(Number(NAN).get(), Number(-NAN).get()));
  EXPECT_EQ(Number(NAN)->hash(), Number(-NAN)->hash());
  EXPECT_FALSE(CFEqual(Number(3.0).get(), Number(3).get()));
  EXPECT_FALSE(CFEqual(Number(0.0).get(), Number(-0.0).get()));
  EXPECT_FALSE(CFEqual(Number(-1).get(), Number(~std::uint64_t{0}).get()));
  EXPECT_FALSE(CFEqual(Number(true).get(), Number(1).get()));
  EXPECT_FALSE(CFEqual(Number(1).get(), nullptr));
}

TEST(NSNumberTest, ThereAreTwoBooleans) {
  EXPECT_EQ(Number(true).get(), NSNumber::numberWithBool(YES));
  EXPECT_EQ(Number(false).get(), NSNumber::numberWithBool(NO));
  EXPECT_NE(NSNumber::numberWithBool(YES), NSNumber::numberWithBool(NO));
}

TEST(NSNumberTest, DescribesItself) {
  const NSAutoreleasePool pool;
  EXPECT_EQ(Number(2.5)->description()->ToUtf8(), "2.5");
  EXPECT_EQ(Number(-3)->description()->ToUtf8(), "-3");
  EXPECT_EQ(Number(~std::uint64_t{0})->description()->ToUtf8(), "18446744073709551615");
  EXPECT_EQ(Number(true)->description()->ToUtf8(), "1");
}

TEST(NSDateTest, DescribesItself) {
  const NSAutoreleasePool pool;
  const auto text = [](double time) {
    return Owned<const NSDate>(NSDate::Create(time))->description()->ToUtf8();
  };
  EXPECT_EQ(text(0.75), "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(text(-1), "2000-12-31 23:59:59 +0000");
  EXPECT_EQ(text(INFINITY), "no date");
}

}  // namespace
}  // namespace orvik
