#include "platform/carbon/iteration.h"

#include <map>

#include "platform/carbon/errno_status.h"
#include "host/file_names.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class IterationTest : public EnvironmentTest {
 protected:
  // Names and node flags of all entries, fetched `step` at a time.
  std::map<std::string, UInt16> List(const fs::path& folder, FSCatalogInfoBitmap which,
                                     ItemCount step = 1) {
    const FSRef ref = RefOf(folder);
    FSIterator iterator = nullptr;
    EXPECT_EQ(FSOpenIterator(&ref, kFSIterateFlat, &iterator), noErr);
    std::map<std::string, UInt16> entries;
    std::vector<FSCatalogInfo> infos(step);
    std::vector<HFSUniStr255> names(step);
    OSErr status = noErr;
    while (status == noErr) {
      ItemCount count = 0;
      status = FSGetCatalogInfoBulk(iterator, step, &count, nullptr, which, infos.data(), nullptr,
                                    nullptr, names.data());
      for (ItemCount i = 0; i < count; ++i) {
        const auto name = host::FileNameToBytes({names[i].unicode, names[i].length});
        EXPECT_TRUE(entries.emplace(name.value_or("?"), infos[i].nodeFlags).second);
      }
    }
    EXPECT_EQ(status, errFSNoMoreItems);
    EXPECT_EQ(FSCloseIterator(iterator), noErr);
    return entries;
  }
};

TEST_F(IterationTest, GivesEveryEntryOnceWithItsFlags) {
  fs::create_directories(top_ / "folder/inner");
  WriteFile(top_ / "file", "");
  WriteFile(top_ / "caf\xE9\x01\n", "");
  fs::create_directory_symlink("folder", top_ / "link");
  mkfifo((top_ / "pipe").c_str(), 0600);
  const std::map<std::string, UInt16> expected = {{"folder", kFSNodeIsDirectoryMask},
                                                  {"file", 0},
                                                  {"caf\xE9\x01\n", 0},
                                                  {"link", 0},
                                                  {"pipe", 0}};
  EXPECT_EQ(List(top_, kFSCatInfoNodeFlags), expected);
  std::map<std::string, UInt16> kinds = expected;
  for (const char* copied : {"file", "caf\xE9\x01\n", "link"}) kinds[copied] = kFSNodeIsCopiedMask;
  EXPECT_EQ(List(top_, kFSCatInfoKindOnly), kinds);
  EXPECT_EQ(List(top_, kFSCatInfoNodeFlags, 2), expected);
  EXPECT_EQ(List(top_, kFSCatInfoNodeFlags, 100), expected);
  EXPECT_EQ(List(top_ / "link", kFSCatInfoNodeFlags),
            (std::map<std::string, UInt16>{{"inner", kFSNodeIsDirectoryMask}}));
}

TEST_F(IterationTest, ReferencesCanBeUsedAndEntriesDeletedOnTheWay) {
  for (int i = 0; i < 500; ++i) WriteFile(top_ / std::to_string(i), "");
  const FSRef ref = RefOf(top_);
  FSIterator iterator = nullptr;
  ASSERT_EQ(FSOpenIterator(&ref, kFSIterateDelete, &iterator), noErr);
  int deleted = 0;
  FSRef entry;
  ItemCount count = 0;
  while (FSGetCatalogInfoBulk(iterator, 1, &count, nullptr, kFSCatInfoNone, nullptr, &entry,
                              nullptr, nullptr) == noErr) {
    EXPECT_EQ(FSDeleteObject(&entry), noErr);
    ++deleted;
    fs::remove(top_ / std::to_string(499));
  }
  EXPECT_EQ(FSCloseIterator(iterator), noErr);
  EXPECT_GE(deleted, 499);
  EXPECT_TRUE(fs::is_empty(top_));
}

TEST_F(IterationTest, OnlyFoldersAreWalked) {
  WriteFile(top_ / "file", "");
  fs::create_directories(top_ / "folder");
  fs::create_directory_symlink("folder", top_ / "link");
  FSIterator iterator = nullptr;
  FSRef ref = RefOf(top_ / "file");
  EXPECT_EQ(FSOpenIterator(&ref, kFSIterateFlat, &iterator), errFSNotAFolder);
  ref = RefOf(top_ / "link");
  EXPECT_EQ(FSOpenIterator(&ref, kFSIterateDelete, &iterator), errFSNotAFolder);
  ref = RefOf(top_ / "folder");
  fs::remove(top_ / "folder");
  EXPECT_EQ(FSOpenIterator(&ref, kFSIterateFlat, &iterator), fnfErr);
  EXPECT_EQ(iterator, nullptr);
}

}  // namespace
}  // namespace orvik::test
