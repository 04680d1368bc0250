#include "platform/core_foundation/data.h"

#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using NSDataTest = EnvironmentTest;

TEST_F(NSDataTest, ReadsAndWritesWholeFiles) {
  const NSAutoreleasePool pool;
  const std::string content("a\0b", 3);
  const auto path = env_.folder() / "file";
  const NSString* text = NSString::stringWithUTF8String(path.c_str());
  const NSData* data = Autoreleased(NSData::Create(content));
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
