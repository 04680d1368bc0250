#include "platform/carbon/folders.h"

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
      {kUserDomain, kApplicationSupportFolderType, home + "/Library/Application Support"},
      {kLocalDomain, kApplicationSupportFolderType, root + "/Library/Application Support"},
      {kSystemDomain, kApplicationSupportFolderType, root + "/Library/Application Support"},
      {kUserDomain, kDocumentsFolderType, home + "/Documents"},
      {kUserDomain, kDesktopFolderType, home + "/Desktop"},
      {kSystemDomain, kSystemDesktopFolderType, root + "/Users/Shared/Desktop"},
      {kSystemDomain, kApplicationsFolderType, root + "/Applications"},
      {kSystemDomain, kDesktopFolderType, std::to_string(fnfErr)},
      {kUserDomain, FourCC("????"), std::to_string(fnfErr)},
      {1, kDocumentsFolderType, std::to_string(fnfErr)},
      {kLocalDomain, kTrashFolderType, std::to_string(fnfErr)},
      {-32000, kTrashFolderType, std::to_string(nsvErr)},
      {InfoOf(env_.home()).volume, kTrashFolderType, Path(kUserDomain, kTrashFolderType)}};
  for (const auto& [domain, type, path] : cases) EXPECT_EQ(Path(domain, type), path);
  EXPECT_TRUE(Contains(Path(kUserDomain, kTrashFolderType), "/Trash/files"));
}

TEST_F(FoldersTest, AreMadeOnlyWhenAskedTo) {
  FSRef ref;
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, false, &ref), fnfErr);
  EXPECT_TRUE(fs::is_empty(env_.home()));
  WriteFile(env_.home() / "Documents", "no folder");
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, false, &ref), dirNFErr);
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, true, &ref), dirNFErr);
}

}  // namespace
}  // namespace orvik::test
