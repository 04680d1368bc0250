#include "platform/carbon/fsref.h"

#include <sys/stat.h>

#include "platform/carbon/catalog_info.h"
#include "platform/core_foundation/errno_status.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using FSRefTest = EnvironmentTest;

TEST_F(FSRefTest, FollowsItsObjectThroughRenamesAndMoves) {
  MakeTree(top_, {"a", "folder/inner/"});
  const FSRef file = RefOf(top_ / "a"), folder = RefOf(top_ / "folder"), copy = file;
  fs::rename(top_ / "a", top_ / "b");
  EXPECT_EQ(PathOf(file), top_ / "b");
  fs::rename(top_ / "b", top_ / "folder/inner/c");
  EXPECT_EQ(PathOf(file), top_ / "folder/inner/c");
  fs::rename(top_ / "folder", top_ / "moved");
  EXPECT_EQ(PathOf(folder), top_ / "moved");
  EXPECT_EQ(PathOf(copy), top_ / "moved/inner/c");
}

TEST_F(FSRefTest, NeverNamesWhatTookItsPlace) {
  MakeTree(top_, {"a=old", "new=new"});
  const FSRef held = RefOf(top_ / "a");
  fs::rename(top_ / "new", top_ / "a");
  UInt8 buffer[4096];
  EXPECT_EQ(FSRefMakePath(&held, buffer, sizeof buffer), fnfErr);
  EXPECT_EQ(ReadFile(top_ / "a"), "new");
}

TEST_F(FSRefTest, LinksAreFollowedOrNamed) {
  MakeTree(top_, {"target", "link->target", "dangling->nowhere"});
  FSRef ref;
  ASSERT_EQ(FSPathMakeRef(Bytes((top_ / "link").string()), &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), top_ / "target");
  EXPECT_EQ(PathOf(RefOf(top_ / "link")), top_ / "link");
  EXPECT_EQ(FSPathMakeRef(Bytes((top_ / "dangling").string()), &ref, nullptr), fnfErr);
  EXPECT_EQ(PathOf(RefOf(top_ / "dangling")), top_ / "dangling");
}

TEST_F(FSRefTest, PathsAreTakenAsTheyAre) {
  MakeTree(top_, {"d/e/", "caf\xE9"});
  Boolean is_directory = 0;
  FSRef ref;
  ASSERT_EQ(FSPathMakeRef(Bytes((top_ / "d").string() + "//"), &ref, &is_directory), noErr);
  EXPECT_EQ(PathOf(ref), top_ / "d");
  EXPECT_EQ(is_directory, 1);
  // A path that ends in dots names the folder by its own name, so that deleting it deletes that.
  EXPECT_EQ(PathOf(RefOf((top_ / "d/e/..").string())), fs::canonical(top_) / "d");
  EXPECT_EQ(PathOf(RefOf("/")), "/");
  EXPECT_EQ(FSPathMakeRef(Bytes(""), &ref, nullptr), fnfErr);
  EXPECT_EQ(FSPathMakeRef(nullptr, &ref, nullptr), paramErr);
  EXPECT_EQ(PathOf(RefOf(top_ / "caf\xE9")), top_ / "caf\xE9");
}

TEST_F(FSRefTest, ABufferThatIsTooSmallGetsNoCutPath) {
  WriteFile(top_ / "a", "");
  const FSRef ref = RefOf(top_ / "a");
  const std::string path = PathOf(ref);
  std::vector<UInt8> buffer(path.size() + 1, 'x');
  EXPECT_EQ(FSRefMakePath(&ref, buffer.data(), static_cast<UInt32>(path.size())), pathTooLongErr);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(FSRefMakePath(&ref, buffer.data(), static_cast<UInt32>(path.size() + 1)), noErr);
  EXPECT_EQ(reinterpret_cast<const char*>(buffer.data()), path);
}

TEST_F(FSRefTest, ComparesObjectsNotPaths) {
  MakeTree(top_, {"a", "b"});
  fs::create_hard_link(top_ / "a", top_ / "hard");
  const FSRef a = RefOf(top_ / "a"), b = RefOf(top_ / "b"), hard = RefOf(top_ / "hard");
  EXPECT_EQ(FSCompareFSRefs(&a, &hard), noErr);
  EXPECT_EQ(FSCompareFSRefs(&a, &b), errFSRefsDifferent);
}

TEST_F(FSRefTest, PathsBeyondTheKernelsLimitWork) {
  const std::string deep = MakeDeepTree(top_.string(), 200, std::string(50, 'n'));
  ASSERT_GT(deep.size(), 10000u);
  const FSRef leaf = RefOf(deep + "/leaf");
  EXPECT_EQ(PathOf(leaf), deep + "/leaf");
  EXPECT_EQ(PathOf(RefOf(deep + "/missing")), "");
}

TEST_F(FSRefTest, ManyReferencesStayWithinTheDescriptors) {
  std::vector<FSRef> refs;
  for (int i = 0; i < 2000; ++i) {
    WriteFile(top_ / std::to_string(i), "");
    refs.push_back(RefOf(top_ / std::to_string(i)));
  }
  // One that is not held on to is found in its folder.
  fs::rename(top_ / "1999", top_ / "renamed");
  EXPECT_EQ(PathOf(refs.back()), top_ / "renamed");
  EXPECT_LE(std::distance(fs::directory_iterator("/proc/self/fd"), {}), kMaxAnchors + 50);
}

using CatalogInfoTest = EnvironmentTest;

TEST_F(CatalogInfoTest, DescribesEveryKind) {
  MakeTree(top_, {"file=" + std::string(5000, 'x'), "folder/", "link->file"});
  const timespec times[2] = {{-2082844800 + 5, 0}, {917'155'200, 15'259}};
  utimensat(AT_FDCWD, (top_ / "file").c_str(), times, 0);
  const FSCatalogInfo file = InfoOf(top_ / "file"), folder = InfoOf(top_ / "folder");
  EXPECT_EQ(file.permissions.mode & 0xF000, 0x8000);
  EXPECT_EQ(file.dataLogicalSize, 5000u);
  EXPECT_GE(file.dataPhysicalSize, 5000u);
  EXPECT_LT(file.volume, 0);
  EXPECT_EQ(file.contentModDate.lowSeconds, 3'000'000'000u);
  EXPECT_EQ(file.contentModDate.fraction, 1);
  EXPECT_EQ(file.createDate.lowSeconds, 3'000'000'000u);
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

TEST(ErrnoStatusTest, EveryErrorHasAStatus) {
  for (int error = 1; error < 140; ++error) EXPECT_LT(host::StatusFromErrno(error), 0) << error;
  const std::pair<int, OSStatus> kCases[] = {{0, 0},        {ENOENT, -43}, {EEXIST, -48},
                                             {ENOSPC, -34}, {EIO, -36},    {EACCES, -5000}};
  for (const auto& [error, status] : kCases) EXPECT_EQ(host::StatusFromErrno(error), status);
}

}  // namespace
}  // namespace orvik::test
