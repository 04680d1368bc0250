#include "platform/carbon/files.h"

#include "platform/carbon/catalog.h"
#include "platform/carbon/errno_status.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class FilesTest : public EnvironmentTest {
 protected:
  OSErr CreateFile(const std::u16string& name, FSCatalogInfoBitmap which = 0,
                   const FSCatalogInfo* info = nullptr, FSRef* ref = nullptr) {
    const FSRef parent = RefOf(top_);
    return FSCreateFileUnicode(&parent, name.size(), name.data(), which, info, ref, nullptr);
  }
};

TEST_F(FilesTest, CreatesFilesAndFolders) {
  FSRef ref;
  EXPECT_EQ(CreateFile(u"caf\u00e9", 0, nullptr, &ref), noErr);
  EXPECT_TRUE(fs::is_regular_file(top_ / "caf\xC3\xA9"));
  EXPECT_EQ(CreateFile(u"caf\u00e9"), dupFNErr);
  fs::create_symlink("nowhere", top_ / "dangling");
  EXPECT_EQ(CreateFile(u"dangling"), dupFNErr);
  EXPECT_FALSE(fs::exists(top_ / "nowhere"));
  const FSRef parent = RefOf(top_);
  UInt32 id = 0;
  FSSpec spec;
  ASSERT_EQ(FSCreateDirectoryUnicode(&parent, 1, u"d", 0, nullptr, &ref, &spec, &id), noErr);
  EXPECT_TRUE(fs::is_directory(top_ / "d"));
  EXPECT_EQ(id, InfoOf(top_ / "d").nodeID);
  EXPECT_EQ(spec.name.length, 1);
  const FSRef file = RefOf(top_ / "caf\xC3\xA9");
  EXPECT_EQ(FSCreateFileUnicode(&file, 1, u"x", 0, nullptr, nullptr, nullptr), errFSNotAFolder);
}

TEST_F(FilesTest, ImpossibleNamesAreRefusedAndNeverCut) {
  const std::u16string names[] = {
      u"", u".", u"..", u"a/b", std::u16string(256, u'n'), std::u16string{u'a', u'\0'}};
  for (const std::u16string& name : names) EXPECT_EQ(CreateFile(name), bdNamErr) << name.size();
  // 255 units, but more bytes than the disk takes.
  EXPECT_NE(CreateFile(std::u16string(255, u'\u20ac')), noErr);
  EXPECT_EQ(CreateFile(std::u16string(255, u'n')), noErr);
  EXPECT_EQ(std::distance(fs::directory_iterator(top_), {}), 1);
}

TEST_F(FilesTest, MakesReferencesToChildren) {
  WriteFile(top_ / "a", "");
  const FSRef parent = RefOf(top_);
  FSRef ref;
  EXPECT_EQ(FSMakeFSRefUnicode(&parent, 1, u"a", kTextEncodingUnknown, &ref), noErr);
  EXPECT_EQ(FSMakeFSRefUnicode(&parent, 1, u"b", kTextEncodingUnknown, &ref), fnfErr);
  fs::create_symlink("nowhere", top_ / "b");
  EXPECT_EQ(FSMakeFSRefUnicode(&parent, 1, u"b", kTextEncodingUnknown, &ref), noErr);
}

TEST_F(FilesTest, DeletesObjectsButNothingBehindThem) {
  fs::create_directories(top_ / "full/inner");
  WriteFile(top_ / "outside", "kept");
  fs::create_symlink("outside", top_ / "link");
  fs::create_directory_symlink("full", top_ / "folder_link");
  mkfifo((top_ / "pipe").c_str(), 0600);
  for (const char* name : {"link", "folder_link", "pipe", "full/inner"}) {
    const FSRef ref = RefOf(top_ / name);
    EXPECT_EQ(FSDeleteObject(&ref), noErr) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(top_ / name))) << name;
  }
  EXPECT_EQ(ReadFile(top_ / "outside"), "kept");
  WriteFile(top_ / "full/x", "");
  const FSRef full = RefOf(top_ / "full");
  EXPECT_EQ(FSDeleteObject(&full), fBsyErr);
}

TEST_F(FilesTest, CatalogInformationOfEveryKind) {
  WriteFile(top_ / "file", std::string(5000, 'x'));
  fs::create_directories(top_ / "folder/a");
  fs::create_symlink("file", top_ / "link");
  fs::create_hard_link(top_ / "file", top_ / "hard");
  const FSCatalogInfo file = InfoOf(top_ / "file");
  EXPECT_EQ(file.nodeFlags, kFSNodeHardLinkMask);
  EXPECT_EQ(file.permissions.mode & 0xF000, 0x8000);
  EXPECT_EQ(file.dataLogicalSize, 5000u);
  EXPECT_GE(file.dataPhysicalSize, 5000u);
  EXPECT_LT(file.volume, 0);
  EXPECT_EQ(file.volume, InfoOf(top_ / "folder").volume);
  const FSCatalogInfo folder = InfoOf(top_ / "folder");
  EXPECT_EQ(folder.nodeFlags, kFSNodeIsDirectoryMask);
  EXPECT_EQ(folder.valence, 1u);
  EXPECT_EQ(InfoOf(top_ / "folder/a").parentDirID, folder.nodeID);
  const FSCatalogInfo link = InfoOf(top_ / "link");
  EXPECT_EQ(link.finderInfo.fdType, FourCC("slnk"));
  EXPECT_EQ(link.finderInfo.fdCreator, FourCC("rhap"));
  const FSRef ref = RefOf(top_ / "folder/a");
  HFSUniStr255 name;
  FSRef parent;
  ASSERT_EQ(FSGetCatalogInfo(&ref, 0, nullptr, &name, nullptr, &parent), noErr);
  EXPECT_EQ(std::u16string(name.unicode, name.length), u"a");
  const FSRef expected = RefOf(top_ / "folder");
  EXPECT_EQ(FSCompareFSRefs(&parent, &expected), noErr);
}

TEST_F(FilesTest, SetsWhatIsAskedForAndNothingElse) {
  WriteFile(top_ / "file", "x");
  const FSRef ref = RefOf(top_ / "file");
  FSCatalogInfo info = InfoOf(top_ / "file");
  const FSCatalogInfo before = info;
  info.permissions.mode = 0640;
  info.createDate = {0, 1000, 17};
  info.contentModDate = {0, 3'000'000'000u, 1};
  info.backupDate = {1, 2, 3};
  info.finderInfo.fdType = FourCC("TEXT");
  info.finderInfo.fdCreator = FourCC("abcd");
  info.finderInfo.fdLocation = {-1, 7};
  info.extFinderInfo[15] = 9;
  ASSERT_EQ(FSSetCatalogInfo(&ref, kFSCatInfoPermissions | kFSCatInfoContentMod, &info), noErr);
  FSCatalogInfo after = InfoOf(top_ / "file");
  EXPECT_EQ(after.permissions.mode, 0100640);
  EXPECT_EQ(after.contentModDate.lowSeconds, 3'000'000'000u);
  EXPECT_EQ(after.contentModDate.fraction, 1);
  EXPECT_EQ(after.accessDate.lowSeconds, before.accessDate.lowSeconds);
  EXPECT_EQ(after.finderInfo.fdType, 0u);
  EXPECT_EQ(FSSetCatalogInfo(&ref, kFSCatInfoNodeID, &info), paramErr);
  if (!HasUserAttributes(top_ / "file")) GTEST_SKIP() << "no user attributes here";
  ASSERT_EQ(FSSetCatalogInfo(&ref, kFSCatInfoSettableInfo, &info), noErr);
  after = InfoOf(top_ / "file");
  EXPECT_EQ(after.createDate.lowSeconds, 1000u);
  EXPECT_EQ(after.createDate.fraction, 17);
  EXPECT_EQ(after.backupDate.highSeconds, 1);
  EXPECT_EQ(after.finderInfo.fdCreator, FourCC("abcd"));
  EXPECT_EQ(after.finderInfo.fdLocation.v, -1);
  EXPECT_EQ(after.extFinderInfo[15], 9);
  EXPECT_EQ(ReadFile(top_ / "file"), "x");
}

TEST_F(FilesTest, ALockIsHonouredWhoeverKeepsIt) {
  WriteFile(top_ / "kernel", "x");
  WriteFile(top_ / "own", "x");
  if (!HasUserAttributes(top_ / "own")) GTEST_SKIP() << "no user attributes here";
  ASSERT_EQ(Lock(top_ / "kernel"), noErr);
  carbon::CatalogRecord record;
  record.locked = true;
  const std::string own_path = top_ / "own";
  ASSERT_EQ(carbon::WriteCatalogRecord({-1, &own_path}, record), 0);
  for (const char* name : {"kernel", "own"}) {
    const FSRef ref = RefOf(top_ / name);
    EXPECT_EQ(InfoOf(top_ / name).nodeFlags, kFSNodeLockedMask) << name;
    EXPECT_EQ(FSDeleteObject(&ref), fLckdErr) << name;
    FSCatalogInfo info;
    info.permissions.mode = 0600;
    EXPECT_EQ(FSSetCatalogInfo(&ref, kFSCatInfoPermissions, &info), fLckdErr) << name;
    info.nodeFlags = 0;
    EXPECT_EQ(FSSetCatalogInfo(&ref, kFSCatInfoNodeFlags | kFSCatInfoPermissions, &info), noErr);
    EXPECT_EQ(InfoOf(top_ / name).nodeFlags, 0) << name;
    EXPECT_EQ(FSDeleteObject(&ref), noErr) << name;
  }
}

}  // namespace
}  // namespace orvik::test
