#include "platform/core_foundation/url.h"

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using Url = Owned<const NSURL>;

Url UrlOf(const std::string& path) {
  return Url(CFURLCreateFromFileSystemRepresentation(nullptr,
                                                     reinterpret_cast<const UInt8*>(path.data()),
                                                     static_cast<CFIndex>(path.size()), false));
}

using CFURLTest = EnvironmentTest;

TEST_F(CFURLTest, KeepsThePathItWasGiven) {
  static constexpr std::pair<const char*, const char*> kCases[] = {
      {"/a/b", "/a/b"}, {"/a/b///", "/a/b"}, {"/", "/"}, {"/caf\xC3\xA9/x y", "/caf\xC3\xA9/x y"}};
  for (const auto& [path, kept] : kCases) {
    EXPECT_EQ(UrlOf(path)->Path(), kept);
  }
  EXPECT_EQ(UrlOf(""), nullptr);
  EXPECT_EQ(UrlOf(std::string("/a\0b", 4)), nullptr);
  EXPECT_TRUE(UrlOf("relative")->Path().ends_with("/relative"));
  EXPECT_TRUE(UrlOf("relative")->Path().starts_with('/'));
}

TEST_F(CFURLTest, KeepsBytesThatAreNotUtf8) {
  EXPECT_EQ(UrlOf("/x/caf\xE9%")->Path(), "/x/caf\xE9%");
}

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
