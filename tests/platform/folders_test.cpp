#include "platform/carbon/folders.h"

#include <cerrno>
#include <tuple>

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/application.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class FoldersTest : public EnvironmentTest {
 protected:
  std::string Path(FSVolumeRefNum domain, OSType type) {
    FSRef ref;
    const OSErr status = FSFindFolder(domain, type, true, &ref);
    return status == noErr ? PathOf(ref) : std::to_string(status);
  }
};

TEST_F(FoldersTest, LieBelowTheHomeOrTheSystemRoot) {
  const std::string home = env_.home().string(), root = env_.system_root().string();
  const std::tuple<FSVolumeRefNum, OSType, std::string> cases[] = {
      {kOnAppropriateDisk, kSharedUserDataFolderType, root + "/Users/Shared"},
      {kUserDomain, kPreferencesFolderType, home + "/Library/Preferences"},
      {kLocalDomain, kPreferencesFolderType, root + "/Library/Preferences"},
      {kUserDomain, kDomainTopLevelFolderType, home},
      {kUserDomain, kApplicationSupportFolderType, home + "/Library/Application Support"},
      {kLocalDomain, kApplicationSupportFolderType, root + "/Library/Application Support"},
      {kSystemDomain, kApplicationSupportFolderType, root + "/Library/Application Support"},
      {kUserDomain, kDocumentsFolderType, home + "/Documents"},
      {kUserDomain, kDesktopFolderType, home + "/Desktop"},
      {kSystemDomain, kSystemDesktopFolderType, root + "/Users/Shared/Desktop"},
      {kSystemDomain, kApplicationsFolderType, root + "/Applications"},
      {kSystemDomain, kDesktopFolderType, std::to_string(fnfErr)},
      {kUserDomain, FourCC("????"), std::to_string(fnfErr)},
      {1, kDocumentsFolderType, std::to_string(nsvErr)}};
  for (const auto& [domain, type, path] : cases) EXPECT_EQ(Path(domain, type), path);
  EXPECT_TRUE(Contains(Path(kUserDomain, kTrashFolderType), "/Trash/files"));
  EXPECT_EQ(Path(InfoOf(env_.home()).volume, kTrashFolderType),
            Path(kUserDomain, kTrashFolderType));
  EXPECT_EQ(Path(-32000, kTrashFolderType), std::to_string(nsvErr));
}

TEST_F(FoldersTest, AreMadeOnlyWhenAskedTo) {
  FSRef ref;
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, false, &ref), fnfErr);
  EXPECT_TRUE(fs::is_empty(env_.home()));
  WriteFile(env_.home() / "Documents", "no folder");
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, false, &ref), dirNFErr);
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, true, &ref), dirNFErr);
}

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

TEST_F(NSFileManagerTest, NamesTheFoldersOfTheUser) {
  EXPECT_EQ(NSHomeDirectory()->ToUtf8(), env_.home().string());
  EXPECT_EQ(NSTemporaryDirectory()->ToUtf8(), env_.temp().string() + "/");
}

}  // namespace
}  // namespace orvik::test
