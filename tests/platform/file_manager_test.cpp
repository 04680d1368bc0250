#include "platform/foundation/file_manager.h"

#include <cerrno>

#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class NSFileManagerTest : public EnvironmentTest {
 protected:
  static const NSString* Text(const fs::path& path) {
    return NSString::stringWithUTF8String(path.c_str());
  }
  const NSFileManager* manager_ = NSFileManager::defaultManager();
  const NSAutoreleasePool pool_;
};

TEST_F(NSFileManagerTest, LooksForSystemPathsBelowTheSystemRoot) {
  const NSString* receipt = CFSTR(u"/Library/Receipts/Some.pkg");
  EXPECT_EQ(manager_->fileExistsAtPath(receipt), NO);
  fs::create_directories(env_.system_root() / "Library/Receipts/Some.pkg");
  ObjCBool is_folder = NO;
  EXPECT_EQ(manager_->fileExistsAtPath(receipt, &is_folder), YES);
  EXPECT_EQ(is_folder, YES);
  EXPECT_EQ(manager_->fileExistsAtPath(nullptr), NO);
  EXPECT_EQ(manager_->fileExistsAtPath(CFSTR(u"")), NO);
}

TEST_F(NSFileManagerTest, MakesFolders) {
  const NSString* deep = Text(env_.folder() / "a" / "b");
  NSError* error = nullptr;
  EXPECT_EQ(manager_->createDirectoryAtPath(deep, NO, nullptr, &error), NO);
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_EQ(manager_->createDirectoryAtPath(deep, YES, nullptr, nullptr), YES);
  EXPECT_EQ(manager_->createDirectoryAtPath(deep, YES, nullptr, nullptr), YES);
  EXPECT_EQ(manager_->createDirectoryAtPath(deep, NO, nullptr, &error), NO);
  EXPECT_EQ(error->code(), EEXIST);
}

TEST_F(NSFileManagerTest, MovesButNeverOverAnything) {
  const fs::path from = env_.folder() / "from", to = env_.folder() / "to";
  WriteFile(from, "moved");
  WriteFile(to, "there before");
  NSError* error = nullptr;
  EXPECT_EQ(manager_->moveItemAtPath(Text(from), Text(to), &error), NO);
  EXPECT_EQ(error->code(), EEXIST);
  EXPECT_EQ(ReadFile(to), "there before");
  fs::remove(to);
  EXPECT_EQ(manager_->moveItemAtPath(Text(from), Text(to), nullptr), YES);
  EXPECT_EQ(ReadFile(to), "moved");
  EXPECT_FALSE(fs::exists(from));
  EXPECT_EQ(manager_->moveItemAtPath(Text(from), Text(to), nullptr), NO);
}

TEST_F(NSFileManagerTest, NamesTheFoldersOfTheUser) {
  EXPECT_EQ(NSHomeDirectory()->ToUtf8(), env_.home().string());
  EXPECT_EQ(NSTemporaryDirectory()->ToUtf8(), env_.temp().string() + "/");
}

}  // namespace
}  // namespace orvik::test
