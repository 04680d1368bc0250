#include "platform/core_foundation/url.h"

#include <sys/stat.h>

#include "platform/carbon/errno_status.h"
#include "platform/carbon/fsref.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using Url = Owned<const NSURL>;
using Text = Owned<const NSString>;

Url UrlOf(const std::string& path) {
  return Url(CFURLCreateFromFileSystemRepresentation(nullptr,
                                                     reinterpret_cast<const UInt8*>(path.data()),
                                                     static_cast<CFIndex>(path.size()), false));
}

std::string Utf8(CFStringRef owned) {
  return Text(owned)->ToUtf8();
}

using CFURLTest = EnvironmentTest;

TEST_F(CFURLTest, TakesPathsApart) {
  static constexpr struct {
    const char *path, *kept, *parent, *last;
  } kCases[] = {{"/a/b", "/a/b", "/a", "b"},
                {"/a/b///", "/a/b", "/a", "b"},
                {"/a", "/a", "/", "a"},
                {"/", "/", "/", "/"},
                {"/caf\xC3\xA9/x y", "/caf\xC3\xA9/x y", "/caf\xC3\xA9", "x y"}};
  for (const auto& one : kCases) {
    const Url url = UrlOf(one.path);
    EXPECT_EQ(Utf8(CFURLCopyFileSystemPath(url.get(), kCFURLPOSIXPathStyle)), one.kept);
    EXPECT_EQ(Utf8(CFURLCopyLastPathComponent(url.get())), one.last);
    const Url parent(CFURLCreateCopyDeletingLastPathComponent(nullptr, url.get()));
    EXPECT_EQ(parent->Path(), one.parent);
  }
  EXPECT_EQ(UrlOf(""), nullptr);
  EXPECT_EQ(UrlOf(std::string("/a\0b", 4)), nullptr);
  EXPECT_TRUE(UrlOf("relative")->Path().ends_with("/relative"));
  EXPECT_TRUE(UrlOf("relative")->Path().starts_with('/'));
}

TEST_F(CFURLTest, KeepsBytesThatAreNotUtf8) {
  const NSAutoreleasePool pool;
  const Url url = UrlOf("/x/caf\xE9%");
  const Text path(CFURLCopyFileSystemPath(url.get(), kCFURLPOSIXPathStyle));
  const Url again(CFURLCreateWithFileSystemPath(nullptr, path.get(), kCFURLPOSIXPathStyle, false));
  EXPECT_TRUE(CFEqual(url.get(), again.get()));
  EXPECT_EQ(CFURLGetString(url.get())->ToUtf8(), "file:///x/caf%E9%25");
  UInt8 buffer[9];
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), true, buffer, 8));
  EXPECT_TRUE(CFURLGetFileSystemRepresentation(url.get(), true, buffer, 9));
}

TEST_F(CFURLTest, ReadsAndReplacesTheFileAndTellsTheStatus) {
  const Url url = UrlOf((env_.folder() / "file").string());
  CFDataRef data = nullptr;
  SInt32 code = 1;
  EXPECT_FALSE(
      CFURLCreateDataAndPropertiesFromResource(nullptr, url.get(), &data, nullptr, nullptr, &code));
  EXPECT_EQ(code, fnfErr);
  const CFDataRef bytes = NSData::Create("content");
  EXPECT_TRUE(CFURLWriteDataAndPropertiesToResource(url.get(), bytes, nullptr, &code));
  EXPECT_EQ(code, noErr);
  EXPECT_TRUE(CFURLCreateDataAndPropertiesFromResource(nullptr, url.get(), &data, nullptr, nullptr,
                                                       nullptr));
  EXPECT_TRUE(CFEqual(data, bytes));
  CFRelease(data);
  const Url folder = UrlOf(env_.folder().string());
  EXPECT_FALSE(CFURLWriteDataAndPropertiesToResource(folder.get(), bytes, nullptr, &code));
  EXPECT_EQ(code, notAFileErr);
  CFRelease(bytes);
}

TEST_F(CFURLTest, GoesToAReferenceAndBack) {
  WriteFile(env_.folder() / "file", "x");
  const Url url = UrlOf((env_.folder() / "file").string());
  FSRef ref;
  ASSERT_TRUE(CFURLGetFSRef(url.get(), &ref));
  const Url back(CFURLCreateFromFSRef(nullptr, &ref));
  EXPECT_EQ(back->Path(), url->Path());
  EXPECT_FALSE(CFURLHasDirectoryPath(back.get()));
  EXPECT_FALSE(CFURLGetFSRef(UrlOf("/no/such").get(), &ref));
}

}  // namespace
}  // namespace orvik::test
