// References to files, their catalog information, standard folders and open forks.
#include "platform/carbon/catalog_info.h"
#include "platform/carbon/folders.h"
#include "platform/carbon/forks.h"
#include "platform/carbon/launch_services.h"
#include "platform/core_foundation/errno_status.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using FSRefTest = EnvironmentTest;

TEST_F(FSRefTest, FollowsItsObjectAndNeverItsReplacement) {
  MakeTree(top_, {"a", "new=new", "folder/inner/"});
  const FSRef file = RefOf(top_ / "a"), copy = file;
  fs::rename(top_ / "a", top_ / "folder/inner/c");
  EXPECT_EQ(PathOf(file), top_ / "folder/inner/c");
  fs::rename(top_ / "folder", top_ / "moved");
  EXPECT_EQ(PathOf(copy), top_ / "moved/inner/c");
  fs::rename(top_ / "new", top_ / "moved/inner/c");
  UInt8 buffer[4096];
  EXPECT_EQ(FSRefMakePath(&file, buffer, sizeof buffer), fnfErr);
  EXPECT_EQ(FSRefMakePath(&file, buffer, 0), paramErr);
  EXPECT_EQ(FSRefMakePath(&file, nullptr, 10), paramErr);
  EXPECT_EQ(FSRefMakePath(nullptr, buffer, 10), paramErr);
}

TEST_F(FSRefTest, PathsLeadToTheirObjectsByTheirOwnNames) {
  MakeTree(top_, {"target", "link->target", "dangling->none", "d/e/", "caf\xE9"});
  const std::string top = fs::canonical(top_).string();
  const std::tuple<std::string, std::string, std::string> kCases[] = {
      // The path; the object with a link followed; the object with the link itself.
      {"/link", "/target", "/link"},
      {"/dangling", "", "/dangling"},
      {"/d//", "/d", "/d"},
      {"/d/e/..", "/d", "/d"},  // deleting this path deletes that folder
      {"/caf\xE9", "/caf\xE9", "/caf\xE9"},
      {"/none", "", ""}};
  for (const auto& [path, followed, named] : kCases) {
    FSRef ref;
    Boolean is_directory = 0;
    const OSStatus status = FSPathMakeRef(Bytes(top + path), &ref, &is_directory);
    EXPECT_EQ(status, followed.empty() ? fnfErr : noErr) << path;
    EXPECT_TRUE(followed.empty() || PathOf(ref) == top + followed) << PathOf(ref);
    EXPECT_EQ(is_directory != 0, followed == "/d");
    EXPECT_EQ(PathOf(RefOf(top + path)), named.empty() ? "" : top + named);
  }
  FSRef ref;
  EXPECT_EQ(PathOf(RefOf("/")), "/");
  EXPECT_EQ(FSPathMakeRef(Bytes(""), &ref, nullptr), fnfErr);
  EXPECT_EQ(FSPathMakeRef(nullptr, &ref, nullptr), paramErr);
  EXPECT_EQ(FSPathMakeRef(Bytes("/"), nullptr, nullptr), paramErr);
  const fs::path before = fs::current_path();
  fs::current_path(top_);
  EXPECT_EQ(PathOf(RefOf("d//")), top + "/d");
  fs::current_path(before);
}

TEST_F(FSRefTest, ABufferThatIsTooSmallGetsNoCutPath) {
  const FSRef ref = RefOf(top_);
  const std::string path = PathOf(ref);
  std::vector<UInt8> buffer(path.size() + 1, 'x');
  EXPECT_EQ(FSRefMakePath(&ref, buffer.data(), static_cast<UInt32>(path.size())), pathTooLongErr);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(FSRefMakePath(&ref, buffer.data(), static_cast<UInt32>(path.size() + 1)), noErr);
}

TEST_F(FSRefTest, ComparesObjectsNotPaths) {
  MakeTree(top_, {"a", "b"});
  fs::create_hard_link(top_ / "a", top_ / "hard");
  const FSRef a = RefOf(top_ / "a"), b = RefOf(top_ / "b"), hard = RefOf(top_ / "hard");
  EXPECT_EQ(FSCompareFSRefs(&a, &hard), noErr);
  EXPECT_EQ(FSCompareFSRefs(&a, &b), errFSRefsDifferent);
  EXPECT_EQ(FSCompareFSRefs(&a, nullptr), paramErr);
  EXPECT_EQ(FSCompareFSRefs(nullptr, &a), paramErr);
}

TEST_F(FSRefTest, PathsBeyondTheKernelsLimitWork) {
  const std::string deep = MakeDeepTree(top_.string(), 200, std::string(50, 'n'));
  EXPECT_EQ(PathOf(RefOf(deep + "/leaf")), deep + "/leaf");
  EXPECT_EQ(PathOf(RefOf(deep + "/missing")), "");
}

TEST_F(FSRefTest, ManyReferencesStayWithinTheDescriptors) {
  std::vector<FSRef> refs;
  for (int i = 0; i < 2000; ++i) {
    WriteFile(top_ / std::to_string(i), "");
    refs.push_back(RefOf(top_ / std::to_string(i)));
  }
  // An object without an anchor is found in its folder.
  fs::rename(top_ / "1999", top_ / "renamed");
  EXPECT_EQ(PathOf(refs.back()), top_ / "renamed");
  fs::rename(top_ / "1998", top_ / "renamed");
  EXPECT_EQ(PathOf(refs.back()), "");
  fs::remove(top_ / "renamed");
  EXPECT_EQ(PathOf(refs[1998]), "");
  // A reference has the object's own path, whatever path was given.
  MakeTree(top_, {"d/e/", "target", "link->target"});
  EXPECT_EQ(PathOf(RefOf((top_ / "d/e/..").string())), fs::canonical(top_) / "d");
  FSRef ref = refs[0];  // has an anchor
  EXPECT_EQ(FSPathMakeRef(Bytes((top_ / "link").string()), &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), fs::canonical(top_) / "target");
  fs::rename(top_ / "target", top_ / "moved");
  EXPECT_EQ(PathOf(ref), fs::canonical(top_) / "moved");
  EXPECT_EQ(FSPathMakeRef(Bytes((top_ / "none").string()), &ref, nullptr), fnfErr);
  EXPECT_EQ(PathOf(RefOf(top_ / "none")), "");
  EXPECT_LE(std::distance(fs::directory_iterator("/proc/self/fd"), {}), kMaxAnchors + 50);
}

using CatalogInfoTest = EnvironmentTest;

TEST_F(CatalogInfoTest, DescribesEveryKind) {
  MakeTree(top_, {"file=" + std::string(5000, 'x'), "folder/", "link->file"});
  const timespec times[2] = {{-2082844800 + 5, 0}, {917'155'200, 15'259}};
  const timespec far[2] = {{2212122496 + 7, 999'999'999}, {-2082844800 - 5, 0}};
  utimensat(AT_FDCWD, (top_ / "folder").c_str(), far, 0);
  utimensat(AT_FDCWD, (top_ / "file").c_str(), times, 0);
  const FSCatalogInfo file = InfoOf(top_ / "file"), folder = InfoOf(top_ / "folder");
  const auto describe = [](const FSCatalogInfo& info) {
    std::ostringstream text;
    text << std::hex << (info.permissions.mode & 0xF000) << std::dec << ' ' << info.dataLogicalSize;
    for (const UTCDateTime& date : {info.contentModDate, info.accessDate}) {
      text << ", " << date.highSeconds << ':' << date.lowSeconds << ':' << date.fraction;
    }
    return text.str();
  };
  EXPECT_EQ(describe(file), "8000 5000, 0:3000000000:1, 0:5:0");
  EXPECT_EQ(describe(folder), "4000 0, 0:0:0, 1:7:65535");
  EXPECT_EQ(InfoOf(top_ / "link").permissions.mode & 0xF000, 0xA000);
  EXPECT_TRUE(file.dataPhysicalSize >= 5000 && folder.dataPhysicalSize == 0);
  EXPECT_TRUE(file.volume < 0 && folder.volume == file.volume);
  EXPECT_EQ(file.permissions.userID, geteuid());
  FSCatalogInfo info;
  const FSRef ref = RefOf(top_ / "file");
  EXPECT_EQ(FSGetCatalogInfo(&ref, 0x800, &info, nullptr, nullptr, nullptr), paramErr);
  HFSUniStr255 name;
  FSRef parent;
  EXPECT_EQ(FSGetCatalogInfo(nullptr, 0, &info, nullptr, nullptr, nullptr), paramErr);
  EXPECT_EQ(FSGetCatalogInfo(&ref, 0, nullptr, nullptr, nullptr, nullptr), paramErr);
  EXPECT_EQ(FSGetCatalogInfo(&ref, 0, &info, &name, nullptr, nullptr), paramErr);
  EXPECT_EQ(FSGetCatalogInfo(&ref, 0, &info, nullptr, reinterpret_cast<FSSpec*>(&name), nullptr),
            paramErr);
  EXPECT_EQ(FSGetCatalogInfo(&ref, 0, &info, nullptr, nullptr, &parent), paramErr);
  // Each bit selects its own field only.
  for (const FSCatalogInfoBitmap one :
       {kFSCatInfoVolume, kFSCatInfoCreateDate, kFSCatInfoContentMod, kFSCatInfoAccessDate,
        kFSCatInfoPermissions, kFSCatInfoDataSizes}) {
    info = {};
    EXPECT_EQ(FSGetCatalogInfo(&ref, one, &info, nullptr, nullptr, nullptr), noErr);
    EXPECT_EQ(info.volume != 0, one == kFSCatInfoVolume);
    EXPECT_EQ(info.createDate.lowSeconds != 0, one == kFSCatInfoCreateDate);
    EXPECT_EQ(info.contentModDate.lowSeconds != 0, one == kFSCatInfoContentMod);
    EXPECT_EQ(info.accessDate.lowSeconds != 0, one == kFSCatInfoAccessDate);
    EXPECT_EQ(info.permissions.mode != 0, one == kFSCatInfoPermissions);
    EXPECT_EQ(info.dataLogicalSize != 0, one == kFSCatInfoDataSizes);
  }
  fs::remove(top_ / "file");
  EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoVolume, &info, nullptr, nullptr, nullptr), fnfErr);
}

// A record of 64 bytes from an earlier version.
TEST_F(CatalogInfoTest, ACreationDateThatWasSetComesFromTheRecord) {
  WriteFile(top_ / "file", "x");
  if (!HasUserAttributes(top_ / "file")) GTEST_SKIP() << "no user attributes here";
  std::string record(64, '\0');
  record.replace(0, 2, "\1\2");
  record.replace(38, 4, std::string_view("\3\xE8\0\x11", 4));
  const auto set = [&](const std::string& bytes) {
    return setxattr((top_ / "file").c_str(), "user.orvik.catalog", bytes.data(), bytes.size(), 0);
  };
  ASSERT_EQ(set(record), 0);
  EXPECT_EQ(InfoOf(top_ / "file").createDate.lowSeconds, 1000u);
  EXPECT_EQ(InfoOf(top_ / "file").createDate.fraction, 17);
  ASSERT_EQ(set(record.substr(1)), 0);  // damaged
  EXPECT_GT(InfoOf(top_ / "file").createDate.lowSeconds, 3'000'000'000u);
}

using FoldersTest = EnvironmentTest;

TEST_F(FoldersTest, LieBelowTheHomeOrTheSystemRoot) {
  const std::string home = env_.home().string(), root = env_.system_root().string();
  const auto path_of = [](FSVolumeRefNum domain, OSType type) {
    FSRef ref;
    const OSErr status = FSFindFolder(domain, type, true, &ref);
    return status == noErr ? PathOf(ref) : std::to_string(status);
  };
  // The home trash is found even if it does not exist yet.
  const std::string trash = path_of(InfoOf(env_.home()).volume, kTrashFolderType);
  EXPECT_TRUE(trash.starts_with(home) && trash.ends_with("/Trash/files")) << trash;
  const std::tuple<FSVolumeRefNum, OSType, std::string> cases[] = {
      {kUserDomain, kApplicationSupportFolderType, home + "/Library/Application Support"},
      {kSystemDomain, kApplicationSupportFolderType, root + "/Library/Application Support"},
      {kUserDomain, kDocumentsFolderType, home + "/Documents"},
      {kSystemDomain, kSystemDesktopFolderType, root + "/Users/Shared/Desktop"},
      {kSystemDomain, kApplicationsFolderType, root + "/Applications"},
      {kSystemDomain, kDocumentsFolderType, root + "/Users/Shared/Documents"},
      {kUserDomain, kApplicationsFolderType, home + "/Applications"},
      {kUserDomain, kSystemDesktopFolderType, std::to_string(fnfErr)},
      {kUserDomain, kTrashFolderType, trash},
      {0, kTrashFolderType, trash},
      {1, kTrashFolderType, std::to_string(fnfErr)},
      {-99, kTrashFolderType, std::to_string(nsvErr)},
      {kSystemDomain, kDesktopFolderType, std::to_string(fnfErr)},
      {kUserDomain, FourCC("????"), std::to_string(fnfErr)},
      {kLocalDomain, kTrashFolderType, std::to_string(fnfErr)},
      {InfoOf(env_.home()).volume, kTrashFolderType, trash}};
  for (const auto& [domain, type, path] : cases) EXPECT_EQ(path_of(domain, type), path);
  EXPECT_NE(path_of(InfoOf("/proc").volume, kTrashFolderType), std::to_string(nsvErr));
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, false, nullptr), paramErr);
  // The first unused volume number.
  FSVolumeRefNum volume = -100;
  FSRef ref;
  while (FSFindFolder(volume, kTrashFolderType, false, &ref) != nsvErr) --volume;
  EXPECT_LT(volume, -101);
}

TEST_F(FoldersTest, AreMadeOnlyWhenAskedTo) {
  FSRef ref;
  EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, false, &ref), fnfErr);
  EXPECT_TRUE(fs::is_empty(env_.home()));
  WriteFile(env_.home() / "Documents", "no folder");
  for (const bool create : {false, true}) {
    EXPECT_EQ(FSFindFolder(kUserDomain, kDocumentsFolderType, create, &ref), dirNFErr);
  }
}

TEST(ErrnoStatusTest, EveryErrorHasAStatus) {
  for (int error = 1; error < 140; ++error) EXPECT_LT(host::StatusFromErrno(error), 0) << error;
  const std::pair<int, OSStatus> kCases[] = {{0, 0},        {ENOENT, -43}, {EEXIST, -48},
                                             {ENOSPC, -34}, {EIO, -36},    {EACCES, -5000}};
  for (const auto& [error, status] : kCases) EXPECT_EQ(host::StatusFromErrno(error), status);
}

class ForksTest : public EnvironmentTest {
 protected:
  FSIORefNum Open(const fs::path& path, SInt8 permission, const std::u16string& name = {}) {
    const FSRef ref = RefOf(path);
    FSIORefNum fork = 0;
    status_ = FSOpenFork(&ref, name.size(), name.data(), permission, &fork);
    return fork;
  }

  OSErr status_ = 0;
};

TEST_F(ForksTest, TheDataForkIsTheContent) {
  WriteFile(top_ / "f", "0123456789");
  const FSIORefNum fork = Open(top_ / "f", fsRdWrPerm);
  char buffer[8] = {};
  unsigned long count = 0;
  EXPECT_EQ(FSReadFork(fork, fsAtMark, 0, 4, buffer, &count), noErr);
  EXPECT_EQ(FSReadFork(fork, fsFromMark, 2, 2, buffer, &count), noErr);
  EXPECT_EQ(std::string(buffer, 2), "67");
  EXPECT_EQ(FSReadFork(fork, fsFromLEOF, -1, 4, buffer, &count), eofErr);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(FSWriteFork(fork, fsFromStart, 12, 2, "ab", &count), noErr);
  EXPECT_EQ(FSWriteFork(fork, fsFromStart, std::numeric_limits<SInt64>::max() - 1, 2, "ab", &count),
            fileBoundsErr);
  EXPECT_EQ(FSSetForkPosition(fork, fsFromStart, 0), noErr);
  EXPECT_EQ(FSSetForkPosition(fork, fsFromMark, 14), noErr);
  EXPECT_EQ(FSSetForkPosition(fork, fsFromMark, -15), posErr);
  EXPECT_EQ(FSSetForkPosition(fork, fsFromMark, std::numeric_limits<SInt64>::max()), posErr);
  SInt64 position = 0, size = 0;
  EXPECT_EQ(FSGetForkPosition(fork, &position), noErr);
  EXPECT_EQ(FSGetForkSize(fork, &size), noErr);
  EXPECT_TRUE(position == 14 && size == 14) << position << " of " << size;
  EXPECT_EQ(FSReadFork(fork, fsFromLEOF, -14, 0, nullptr, nullptr), noErr);
  EXPECT_EQ(FSReadFork(fork, fsAtMark, 0, 1, nullptr, &count), paramErr);
  EXPECT_EQ(FSGetForkPosition(fork, nullptr), paramErr);
  EXPECT_EQ(FSGetForkSize(fork, nullptr), paramErr);
  HFSUniStr255 name;
  name.length = 9;
  EXPECT_EQ(FSGetDataForkName(&name), noErr);
  EXPECT_EQ(name.length, 0);
  EXPECT_EQ(FSGetDataForkName(nullptr), paramErr);
  Open(top_ / "f", fsRdPerm, u"named");
  EXPECT_EQ(status_, errFSForkNotFound);
  const FSRef ref = RefOf(top_ / "f");
  FSIORefNum other = 0;
  EXPECT_EQ(FSOpenFork(&ref, 0, nullptr, fsRdPerm, nullptr), paramErr);
  EXPECT_EQ(FSOpenFork(nullptr, 0, nullptr, fsRdPerm, &other), paramErr);
  EXPECT_EQ(FSCloseFork(fork), noErr);
  for (const FSIORefNum none : {fork, FSIORefNum{0}, FSIORefNum{-1}, FSIORefNum{1000}}) {
    EXPECT_EQ(FSCloseFork(none), rfNumErr);
    EXPECT_EQ(FSReadFork(none, fsAtMark, 0, 1, buffer, &count), rfNumErr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(FSGetForkSize(none, &size), rfNumErr);
    EXPECT_EQ(FSGetForkPosition(none, &size), rfNumErr);
    EXPECT_EQ(FSSetForkPosition(none, fsFromStart, 0), rfNumErr);
  }
  EXPECT_EQ(ReadFile(top_ / "f"), std::string("0123456789\0\0ab", 14));
}

TEST_F(ForksTest, OpeningsThatExcludeEachOther) {
  WriteFile(top_ / "f", "x");
  const std::tuple<SInt8, SInt8, OSErr> kCases[] = {
      {fsRdPerm, fsRdPerm, noErr},       {fsRdPerm, fsRdWrPerm, noErr},
      {fsWrPerm, fsWrPerm, noErr},       {fsRdWrShPerm, fsRdWrShPerm, noErr},
      {fsRdWrPerm, fsRdPerm, noErr},     {fsRdWrPerm, fsRdWrPerm, opWrErr},
      {fsRdWrPerm, fsWrPerm, opWrErr},   {fsRdWrShPerm, fsRdWrPerm, opWrErr},
      {fsRdDenyPerm, fsRdPerm, permErr}, {fsRdPerm, fsRdDenyPerm, permErr},
      {fsRdDenyPerm, fsWrPerm, noErr},   {fsWrDenyPerm, fsRdPerm, noErr},
      {fsWrDenyPerm, fsWrPerm, opWrErr}, {fsWrDenyPerm, fsRdWrShPerm, opWrErr},
      {fsWrPerm, fsWrDenyPerm, opWrErr}};
  for (const auto& [one, other, expected] : kCases) {
    const FSIORefNum first = Open(top_ / "f", one);
    ASSERT_EQ(status_, noErr);
    const FSIORefNum second = Open(top_ / "f", other);
    EXPECT_EQ(status_, expected) << int{one} << " then " << int{other};
    if (status_ == noErr) FSCloseFork(second);
    FSCloseFork(first);
  }
  Open(top_ / "f", 5);
  EXPECT_EQ(status_, paramErr);
}

TEST_F(ForksTest, OpenWithTheRightsThatThereAre) {
  const WithoutRootRights without(env_.folder());
  const std::tuple<mode_t, SInt8, OSErr> kCases[] = {{0400, fsRdPerm, noErr},
                                                     {0400, fsWrPerm, afpAccessDenied},
                                                     {0400, fsRdWrPerm, afpAccessDenied},
                                                     {0400, fsWrDenyPerm, noErr},
                                                     {0400, fsRdDenyPerm, noErr},
                                                     {0200, fsWrPerm, noErr},
                                                     {0200, fsRdPerm, afpAccessDenied},
                                                     {0200, fsWrDenyPerm, afpAccessDenied}};
  for (const auto& [mode, permission, status] : kCases) {
    WriteFile(top_ / "f", "x");
    chmod((top_ / "f").c_str(), mode);
    const FSIORefNum fork = Open(top_ / "f", permission);
    EXPECT_EQ(status_, status) << mode << " " << int{permission};
    const OSErr written = FSWriteFork(fork, fsFromStart, 0, 1, "y", nullptr);
    EXPECT_EQ(written, status != noErr ? rfNumErr : permission == fsWrPerm ? noErr : wrPermErr);
    FSCloseFork(fork);
    fs::remove(top_ / "f");
  }
}

TEST_F(ForksTest, OnlyRegularFilesAreOpened) {
  MakeTree(top_, {"pipe|", "f", "to_pipe->pipe", "to_file->f"});
  for (const char* name : {"pipe", "to_pipe", "."}) {
    Open(top_ / name, fsRdPerm);
    EXPECT_EQ(status_, notAFileErr) << name;
  }
  const FSIORefNum fork = Open(top_ / "to_file", fsRdPerm);
  ASSERT_EQ(status_, noErr);
  unsigned long count = 9;
  EXPECT_EQ(FSWriteFork(fork, fsAtMark, 0, 1, "y", &count), wrPermErr);
  EXPECT_EQ(count, 0u);
  FSCloseFork(fork);
}

using LaunchServicesTest = EnvironmentTest;

TEST_F(LaunchServicesTest, FlagsOfEveryKindOfItem) {
  constexpr LSItemInfoFlags kNone = 0, kApplication = kLSItemInfoIsApplication;
  constexpr LSItemInfoFlags kNative = kApplication | kLSItemInfoIsNativeApp;
  const std::tuple<const char*, mode_t, LSItemInfoFlags> kCases[] = {
      {"elf=\177ELF rest", 0700, kNative},
      {"elf_data=\177ELF rest", 0600, kNone},
      {"script=#!/bin/sh\n", 0700, kApplication},
      {"text=plain", 0700, kNone},
      {"bare=#!", 0410, kApplication},
      {"hash=#", 0700, kNone},
      {"mark=!#", 0701, kNone},
      {"short=\177EL", 0700, kNone},
      {"shortest=\177ELF", 0700, kNative},
      {"a.AppImage=", 0600, kApplication},
      {"a.desktop=", 0600, kApplication},
      {"Bad.app/Contents=x", 0700, kNone},
      {"Plain/Contents/", 0700, kNone},
      {"Good.app/Contents/", 0700, kNative},
      {"Empty.app/", 0700, kNone},
      {"link->elf", 0700, kNone},
      {"pipe|", 0700, kNone}};
  for (const auto& [entry, mode, flags] : kCases) {
    MakeTree(top_, {entry});
    const std::string name = std::string(entry).substr(0, strcspn(entry, "=/-|"));
    chmod((top_ / name).c_str(), mode);
    const FSRef ref = RefOf(top_ / name);
    LSItemInfoRecord info;
    EXPECT_EQ(LSCopyItemInfoForRef(&ref, kLSRequestAllFlags, &info), noErr) << name;
    EXPECT_EQ(info.flags, flags) << name;
    EXPECT_EQ(LSCopyItemInfoForRef(&ref, 1, &info), paramErr);
    EXPECT_EQ(LSCopyItemInfoForRef(nullptr, kLSRequestAllFlags, &info), paramErr);
    EXPECT_EQ(LSCopyItemInfoForRef(&ref, kLSRequestAllFlags, nullptr), paramErr);
  }
  // A program that cannot be read.
  const FSRef ref = RefOf(top_ / "elf");
  chmod((top_ / "elf").c_str(), 0100);
  const WithoutRootRights without(env_.folder());
  LSItemInfoRecord info;
  EXPECT_EQ(LSCopyItemInfoForRef(&ref, kLSRequestAllFlags, &info), noErr);
  EXPECT_EQ(info.flags, kNative);
  chmod((top_ / "elf").c_str(), 0010);
  EXPECT_EQ(LSCopyItemInfoForRef(&ref, kLSRequestAllFlags, &info), noErr);
  EXPECT_EQ(info.flags, kNone);
}

}  // namespace
}  // namespace orvik::test
