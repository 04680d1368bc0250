#include "platform/carbon/catalog_info.h"

#include <sys/stat.h>

#include "tests/support/file_trees.h"
#include "tests/support/references.h"

namespace orvik::test {
namespace {

using CatalogInfoTest = EnvironmentTest;

TEST_F(CatalogInfoTest, DescribesEveryKind) {
  WriteFile(top_ / "file", std::string(5000, 'x'));
  fs::create_directories(top_ / "folder");
  fs::create_symlink("file", top_ / "link");
  const timespec times[2] = {{-2082844800 + 5, 0}, {917'155'200, 15'259}};
  utimensat(AT_FDCWD, (top_ / "file").c_str(), times, 0);
  const FSCatalogInfo file = InfoOf(top_ / "file");
  EXPECT_EQ(file.permissions.mode & 0xF000, 0x8000);
  EXPECT_EQ(file.dataLogicalSize, 5000u);
  EXPECT_GE(file.dataPhysicalSize, 5000u);
  EXPECT_LT(file.volume, 0);
  EXPECT_EQ(file.contentModDate.lowSeconds, 3'000'000'000u);
  EXPECT_EQ(file.contentModDate.fraction, 1);
  EXPECT_EQ(file.createDate.lowSeconds, 3'000'000'000u);
  const FSCatalogInfo folder = InfoOf(top_ / "folder");
  EXPECT_EQ(folder.permissions.mode & 0xF000, 0x4000);
  EXPECT_EQ(folder.volume, file.volume);
  EXPECT_EQ(folder.dataPhysicalSize, 0u);
  EXPECT_EQ(InfoOf(top_ / "link").permissions.mode & 0xF000, 0xA000);
  FSCatalogInfo info;
  const FSRef ref = RefOf(top_ / "file");
  EXPECT_EQ(FSGetCatalogInfo(&ref, 0x800, &info, nullptr, nullptr, nullptr), paramErr);
  fs::remove(top_ / "file");
  EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoVolume, &info, nullptr, nullptr, nullptr), fnfErr);
}

// A record of 64 bytes that an earlier version has written.
TEST_F(CatalogInfoTest, ACreationDateThatWasSetComesFromTheRecord) {
  WriteFile(top_ / "file", "x");
  if (!HasUserAttributes(top_ / "file")) GTEST_SKIP() << "no user attributes here";
  std::string record(64, '\0');
  record[0] = 1;
  record[1] = 2;
  record[38] = 3;
  record[39] = static_cast<char>(0xE8);
  record[41] = 17;
  const auto set = [&](const std::string& bytes) {
    return setxattr((top_ / "file").c_str(), "user.orvik.catalog", bytes.data(), bytes.size(), 0);
  };
  ASSERT_EQ(set(record), 0);
  EXPECT_EQ(InfoOf(top_ / "file").createDate.lowSeconds, 1000u);
  EXPECT_EQ(InfoOf(top_ / "file").createDate.fraction, 17);
  ASSERT_EQ(set(record.substr(1)), 0);  // damaged
  EXPECT_GT(InfoOf(top_ / "file").createDate.lowSeconds, 3'000'000'000u);
}

}  // namespace
}  // namespace orvik::test
