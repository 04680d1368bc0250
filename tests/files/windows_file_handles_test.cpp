// Handles and references of files, and names of temporary files, under the Windows names.
#include <thread>

#include "files/path_arguments.h"
#include "files/windows_file_handles.h"
#include "files/windows_files.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

constexpr DWORD kReadWrite = 0;

class WindowsFileHandlesTest : public EnvironmentTest {
 protected:
  HANDLE Open(const char* name, DWORD access, DWORD share, DWORD disposition) {
    return CreateFile(At(name).u16string().c_str(), access, share, nullptr, disposition, 0,
                      nullptr);
  }
  bool Opens(const char* name, DWORD access, DWORD share, DWORD disposition) {
    const HANDLE handle = Open(name, access, share, disposition);
    return handle != INVALID_HANDLE_VALUE && CloseHandle(handle) != FALSE;
  }
};

TEST_F(WindowsFileHandlesTest, CreationDispositions) {
  const std::tuple<DWORD, bool, bool> cases[] = {
      {0, true, true},  {CREATE_NEW, true, false},  {CREATE_ALWAYS, true, true},
      {3, false, true}, {OPEN_ALWAYS, false, true}, {5, false, true},
      {6, false, true}, {0xFFFFFFFF, false, true}};
  for (const auto& [disposition, opens_missing, opens_existing] : cases) {
    SCOPED_TRACE(disposition);
    fs::remove(At("missing"));
    WriteFile(At("existing"), "content");
    EXPECT_EQ(Opens("missing", kReadWrite, 1, disposition), opens_missing);
    EXPECT_EQ(fs::exists(At("missing")), opens_missing);
    EXPECT_EQ(Opens("existing", kReadWrite, 1, disposition), opens_existing);
    EXPECT_EQ(ReadFile(At("existing")), "content");
  }
  EXPECT_FALSE(Opens("no/folder", kReadWrite, 1, CREATE_ALWAYS));
  EXPECT_FALSE(Opens(".", kAccessRead, 1, OPEN_EXISTING));
  for (const DWORD how : {CREATE_NEW, OPEN_EXISTING}) {
    EXPECT_EQ(CreateFile(nullptr, kAccessRead, 1, nullptr, how, 0, nullptr), INVALID_HANDLE_VALUE);
  }
}

TEST_F(WindowsFileHandlesTest, SharingByAccessAndShareMode) {
  WriteFile(At("f"), "x");
  const std::tuple<DWORD, DWORD, DWORD, DWORD, bool> cases[] = {
      {kAccessRead, 1, kAccessReadData, 1, true},  {kAccessRead, 0, kAccessRead, 1, false},
      {kAccessReadData, 0, kAccessWrite, 1, true}, {kAccessWrite, 0, kAccessWrite, 1, false},
      {kAccessWrite, 0, kAccessRead, 1, true},     {kReadWrite, 1, kReadWrite, 1, true},
      {kReadWrite, 0, kReadWrite, 0, false},       {kReadWrite, 0, kAccessRead, 1, true}};
  for (const auto& [access, share, other_access, other_share, both] : cases) {
    const HANDLE first = Open("f", access, share, OPEN_EXISTING);
    ASSERT_NE(first, INVALID_HANDLE_VALUE);
    EXPECT_EQ(Opens("f", other_access, other_share, OPEN_EXISTING), both)
        << access << " " << share << " " << other_access << " " << other_share;
    CloseHandle(first);
  }
}

TEST_F(WindowsFileHandlesTest, ReadsWritesAndMoves) {
  const HANDLE handle = Open("f", kReadWrite, 0, CREATE_NEW);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);
  DWORD count = 0, high = 77;
  EXPECT_EQ(orvik::WriteFile(handle, "0123456789", 10, &count, nullptr), TRUE);
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(GetFileSize(handle, &high), 10u);
  EXPECT_EQ(high, 77u);
  const std::tuple<std::int32_t, DWORD, DWORD> moves[] = {{4, FILE_BEGIN, 4},
                                                          {-1, FILE_CURRENT, 3},
                                                          {9, 7, 3},
                                                          {-4, FILE_CURRENT, 0xFFFFFFFF},
                                                          {-2, FILE_END, 8}};
  std::int32_t distance_high = 1;
  for (const auto& [distance, method, position] : moves) {
    EXPECT_EQ(SetFilePointer(handle, distance, &distance_high, method), position);
  }
  char buffer[8] = {};
  const std::tuple<DWORD, BOOL, DWORD> reads[] = {{2, TRUE, 2}, {1, FALSE, 0}, {0, TRUE, 0}};
  for (const auto& [size, done, got] : reads) {
    EXPECT_EQ(orvik::ReadFile(handle, buffer, size, &count, nullptr), done);
    EXPECT_EQ(count, got);
  }
  EXPECT_EQ(std::string(buffer, 2), "89");
  SetFilePointer(handle, 9, nullptr, FILE_BEGIN);
  EXPECT_EQ(orvik::ReadFile(handle, buffer, 8, &count, nullptr), FALSE);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(orvik::ReadFile(handle, buffer, 0, nullptr, nullptr), TRUE);
  EXPECT_EQ(CloseHandle(handle), TRUE);
  const HANDLE reader = Open("f", kAccessRead, 1, OPEN_EXISTING);
  EXPECT_EQ(orvik::WriteFile(reader, "x", 1, &count, nullptr), FALSE);
  CloseHandle(reader);
  EXPECT_EQ(ReadFile(At("f")), "0123456789");
}

TEST_F(WindowsFileHandlesTest, HandlesThatAreNone) {
  DWORD count = 5;
  EXPECT_EQ(SetFilePointer(nullptr, 0, nullptr, FILE_BEGIN), 0u);
  EXPECT_EQ(SetFilePointer(INVALID_HANDLE_VALUE, 0, nullptr, FILE_BEGIN), 0xFFFFFFFF);
  EXPECT_EQ(GetFileSize(nullptr, nullptr), 0u);
  EXPECT_EQ(orvik::ReadFile(nullptr, &count, 1, &count, nullptr), FALSE);
  EXPECT_EQ(orvik::WriteFile(INVALID_HANDLE_VALUE, &count, 1, nullptr, nullptr), FALSE);
  EXPECT_EQ(CloseHandle(nullptr), FALSE);
  EXPECT_EQ(CloseHandle(INVALID_HANDLE_VALUE), FALSE);
}

TEST_F(WindowsFileHandlesTest, OneHandleSharedByThreads) {
  const HANDLE handle = Open("f", kReadWrite, 0, CREATE_NEW);
  EXPECT_EQ(static_cast<const FileForkHandle*>(handle)->type_tag, 3u);
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      for (int k = 0; k < 200; ++k) orvik::WriteFile(handle, "1234", 4, nullptr, nullptr);
    });
  }
  for (std::thread& writer : writers) writer.join();
  CloseHandle(handle);
  EXPECT_EQ(ReadFile(At("f")), Repeated("1234", 800));
}

TEST_F(WindowsFileHandlesTest, SizesKeepTheirLow32Bits) {
  const std::string path = env_.temp() / "large";
  const int descriptor = open(path.c_str(), O_CREAT | O_RDWR, 0600);
  ASSERT_EQ(ftruncate(descriptor, 0x100000005), 0);
  EXPECT_EQ(filelength(descriptor), 5u);
  close(descriptor);
  EXPECT_EQ(filelength(-1), 0xFFFFFFFF);
  const HANDLE handle = Open("large", kAccessRead, 1, OPEN_EXISTING);
  EXPECT_EQ(GetFileSize(handle, nullptr), 5u);
  EXPECT_EQ(SetFilePointer(handle, -1, nullptr, FILE_END), 4u);
  CloseHandle(handle);
}

class WindowsFileRefsTest : public EnvironmentTest {
 protected:
  std::u16string Path(const std::u16string& name) const { return top_.u16string() + u"/" + name; }
  OSErr Find(const std::u16string& name, bool create = false, bool folder = false) {
    return GetFSRefFromFilename(Path(name).c_str(), &ref_, create, folder);
  }
  FSRef ref_;
};

TEST_F(WindowsFileRefsTest, FindsAndCreatesTheLastComponentOnly) {
  EXPECT_EQ(Find(u"a"), fnfErr);
  EXPECT_EQ(Find(u"a/b", true, true), fnfErr);
  EXPECT_EQ(Find(u"a", true, true), noErr);
  EXPECT_EQ(Find(u"a/b/", true, false), noErr);
  EXPECT_EQ(TreeText(top_), "a/ a/b=");
  // Existing objects are left unchanged.
  Plant(top_, "a/b=content dangling->nowhere");
  EXPECT_EQ(Find(u"a/b", true, true), noErr);
  EXPECT_EQ(Find(u"dangling", true, false), noErr);
  EXPECT_EQ(TreeText(top_), "a/ a/b=content dangling->nowhere");
}

TEST_F(WindowsFileRefsTest, ImpossiblePathsAreNotFound) {
  const FSRef unchanged = ref_;
  for (const bool create : {false, true}) {
    for (const char16_t* path : {u"", static_cast<const char16_t*>(nullptr)}) {
      EXPECT_EQ(GetFSRefFromFilename(path, &ref_, create, false), fnfErr);
    }
    // A component that is too long is neither found nor made, not even shortened.
    EXPECT_NE(Find(std::u16string(300, u'n'), create), noErr);
  }
  EXPECT_TRUE(fs::is_empty(top_));
  EXPECT_EQ(FSCompareFSRefs(&ref_, &unchanged), noErr);
}

TEST_F(WindowsFileRefsTest, ParentAndName) {
  HFSUniStr255 name;
  const FSRef top = RefOf(top_);
  const std::u16string longest(255, u'n');
  const std::pair<std::u16string, OSErr> cases[] = {
      {Path(longest), noErr},    {Path(longest + u"n"), fnfErr},
      {Path(u"none/x"), fnfErr}, {u"/", fnfErr},
      {u"/tmp", noErr},          {Path(u"none"), noErr}};
  for (const auto& [path, result] : cases) {
    EXPECT_EQ(GetParentFSRAndNameFromFilePath(path.c_str(), &ref_, &name), result);
    if (result != noErr) continue;
    EXPECT_EQ(std::u16string(name.unicode, name.length), path.substr(path.rfind(u'/') + 1));
  }
  EXPECT_EQ(FSCompareFSRefs(&ref_, &top), noErr);
}

using WindowsTempNamesTest = EnvironmentTest;

// Half a character of the prefix becomes part of the name, and the file can be made.
TEST_F(WindowsTempNamesTest, GivesTheFirstFreeNumber) {
  const std::u16string folder = top_.u16string();
  Plant(top_, "abc5 abc6/");
  char16_t buffer[MAX_PATH];
  EXPECT_EQ(GetTempFileName(folder.c_str(), u"abcdef", 5, buffer), 7u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/abc7");
  EXPECT_FALSE(fs::exists(top_ / "abc7"));
  EXPECT_EQ(GetTempFileName((folder + u"/").c_str(), nullptr, 0, buffer), 0u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/0");
  for (const DWORD expected : {1u, 2u}) {
    EXPECT_EQ(GetTempFileName(folder.c_str(), u"ab\U0001F600", 1, buffer), expected);
    EXPECT_EQ(std::u16string(buffer).substr(folder.size()),
              std::u16string({u'/', u'a', u'b', 0xD83D, static_cast<char16_t>(u'0' + expected)}));
    EXPECT_TRUE(CloseHandle(CreateFile(buffer, 0, 1, nullptr, CREATE_NEW, 0, nullptr)));
  }
}

TEST_F(WindowsTempNamesTest, APathThatDoesNotFitIsNotCut) {
  char16_t buffer[MAX_PATH + 1];
  buffer[MAX_PATH] = u'!';
  const std::u16string fits(MAX_PATH - 5, u'n');
  EXPECT_EQ(GetTempFileName(fits.c_str(), u"abc", 1, buffer), 0u);
  EXPECT_EQ(buffer[0], u'\0');
  EXPECT_EQ(GetTempFileName(fits.c_str(), u"ab", 1, buffer), 1u);
  EXPECT_EQ(buffer[MAX_PATH], u'!');
  EXPECT_EQ(GetTempFileName(std::u16string(1000, u'n').c_str(), u"abc", 1, buffer), 0u);
  EXPECT_EQ(GetTempFileName(nullptr, u"abc", 1, buffer), 0u);
}

TEST_F(WindowsTempNamesTest, TheTemporaryFolderEndsInASlash) {
  const std::u16string expected = top_.u16string() + u"/";
  char16_t buffer[MAX_PATH] = u"!";
  EXPECT_EQ(GetTempPath(MAX_PATH, nullptr), expected.size());
  for (const DWORD size : {0, 4, MAX_PATH}) {
    EXPECT_EQ(GetTempPath(size, buffer), expected.size());
    EXPECT_EQ(buffer, size == 0 ? u"!" : expected.substr(0, size - 1));
  }
}

}  // namespace
}  // namespace orvik::test
