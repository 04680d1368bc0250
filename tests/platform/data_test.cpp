#include "platform/core_foundation/data.h"

#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using NSDataTest = EnvironmentTest;

TEST(CFDataTest, RangesAreClampedAndImmutableDataStays) {
  const auto* bytes = reinterpret_cast<const UInt8*>("hello");
  const CFDataRef data = CFDataCreate(nullptr, bytes, 5);
  CFDataAppendBytes(const_cast<CFMutableDataRef>(data), bytes, 5);
  EXPECT_EQ(data->View(), "hello");
  UInt8 buffer[6] = {};
  CFDataGetBytes(data, CFRangeMake(3, 100), buffer);
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "lo");
  const CFMutableDataRef copy = CFDataCreateMutableCopy(nullptr, 0, data);
  CFDataSetLength(copy, 2);
  CFDataAppendBytes(copy, bytes, 1);
  EXPECT_EQ(copy->View(), "heh");
  EXPECT_FALSE(CFEqual(copy, data));
  CFRelease(copy);
  CFRelease(data);
}

TEST_F(NSDataTest, ReadsAndWritesWholeFiles) {
  const NSAutoreleasePool pool;
  const std::string content("a\0b", 3);
  const auto path = env_.folder() / "file";
  const NSString* text = NSString::stringWithUTF8String(path.c_str());
  const NSData* data = NSData::dataWithBytes(content.data(), 3);
  for (const ObjCBool atomically : {YES, NO}) {
    WriteFile(path, "something longer");
    EXPECT_EQ(data->writeToFile(text, atomically), YES);
    EXPECT_EQ(NSData::dataWithContentsOfFile(text)->View(), content);
  }
  EXPECT_EQ(NSData::dataWithContentsOfFile(text->stringByAppendingString(CFSTR(u".none"))),
            nullptr);
  EXPECT_EQ(data->writeToFile(CFSTR(u""), YES), NO);
  EXPECT_EQ(data->writeToFile(nullptr, YES), NO);
}

}  // namespace
}  // namespace orvik::test
