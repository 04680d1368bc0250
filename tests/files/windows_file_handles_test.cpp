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
  EXPECT_EQ(CreateFile(nullptr, kAccessRead, 1, nullptr, 3, 0, nullptr), INVALID_HANDLE_VALUE);
}

TEST_F(WindowsFileHandlesTest, SharingByAccessAndShareMode) {
  WriteFile(At("f"), "x");
  const std::tuple<DWORD, DWORD, DWORD, DWORD, bool> cases[] = {
      {kAccessRead, 1, kAccessReadData, 1, true},  {kAccessRead, 0, kAccessRead, 1, false},
      {kAccessReadData, 0, kAccessWrite, 1, true}, {kAccessWrite, 0, kAccessWrite, 1, false},
      {kAccessWrite, 0, kAccessRead, 1, true},     {kReadWrite, 1, kReadWrite, 1, true},
      {kReadWrite, 0, kReadWrite, 0, false},       {kReadWrite, 0, kAccessRead, 1, true},
  };
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
  DWORD count = 0;
  EXPECT_EQ(orvik::WriteFile(handle, "0123456789", 10, &count, nullptr), TRUE);
  EXPECT_EQ(count, 10u);
  DWORD high = 77;
  EXPECT_EQ(GetFileSize(handle, &high), 10u);
  EXPECT_EQ(high, 77u);
  std::int32_t distance_high = 1;
  EXPECT_EQ(SetFilePointer(handle, 4, &distance_high, FILE_BEGIN), 4u);
  EXPECT_EQ(SetFilePointer(handle, -1, nullptr, FILE_CURRENT), 3u);
  EXPECT_EQ(SetFilePointer(handle, 9, nullptr, 7), 3u);
  EXPECT_EQ(SetFilePointer(handle, -4, nullptr, FILE_CURRENT), 0xFFFFFFFF);
  EXPECT_EQ(SetFilePointer(handle, -2, nullptr, FILE_END), 8u);
  char buffer[8] = {};
  EXPECT_EQ(orvik::ReadFile(handle, buffer, 2, &count, nullptr), TRUE);
  EXPECT_EQ(std::string(buffer, 2), "89");
  EXPECT_EQ(orvik::ReadFile(handle, buffer, 1, &count, nullptr), FALSE);
  EXPECT_EQ(count, 0u);
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
  const auto* const record = static_cast<const FileForkHandle*>(handle);
  EXPECT_EQ(record->type_tag, 3u);
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      for (int k = 0; k < 200; ++k)
        EXPECT_EQ(orvik::WriteFile(handle, "1234", 4, nullptr, nullptr), TRUE);
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(GetFileSize(handle, nullptr), 4u * 200 * 4);
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
  EXPECT_FALSE(fs::exists(At("a")));
  EXPECT_EQ(Find(u"a", true, true), noErr);
  EXPECT_TRUE(fs::is_directory(At("a")));
  EXPECT_EQ(Find(u"a/b/", true, false), noErr);
  EXPECT_TRUE(fs::is_regular_file(At("a/b")));
  // Whatever is there already is left alone.
  WriteFile(At("a/b"), "content");
  EXPECT_EQ(Find(u"a/b", true, true), noErr);
  EXPECT_EQ(ReadFile(At("a/b")), "content");
  fs::create_symlink("nowhere", At("dangling"));
  EXPECT_EQ(Find(u"dangling", true, false), noErr);
  EXPECT_FALSE(fs::exists(At("nowhere")));
}

TEST_F(WindowsFileRefsTest, ImpossiblePathsAreNotFound) {
  const FSRef unchanged = ref_;
  for (const char16_t* path : {u"", static_cast<const char16_t*>(nullptr)}) {
    EXPECT_EQ(GetFSRefFromFilename(path, &ref_, false, false), fnfErr);
    EXPECT_EQ(GetFSRefFromFilename(path, &ref_, true, false), fnfErr);
  }
  // Too long a component is neither found nor made, in whole or in part.
  EXPECT_EQ(Find(std::u16string(300, u'n')), fnfErr);
  EXPECT_NE(Find(std::u16string(300, u'n'), true), noErr);
  EXPECT_TRUE(fs::is_empty(top_));
  EXPECT_EQ(FSCompareFSRefs(&ref_, &unchanged), noErr);
}

TEST_F(WindowsFileRefsTest, LongPathsAndForeignNamesAreFound) {
  const fs::path deep = MakeDeepTree(top_.string(), 120, "folder with a name of middling length");
  for (const auto& [name, create] : {std::pair{"leaf", false}, {"new", true}, {"new", false}}) {
    EXPECT_EQ(GetFSRefFromFilename((deep / name).u16string().c_str(), &ref_, create, false), noErr);
  }
  WriteFile(At("caf\xE9"), "");
  EXPECT_EQ(Find(std::u16string(u"caf") + char16_t{0xDCE9}), noErr);
  WriteFile(At("e\xCC\x81"), "");
  EXPECT_EQ(Find(u"\u00e9"), noErr);
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

TEST_F(WindowsTempNamesTest, GivesTheFirstFreeNumber) {
  const std::u16string folder = top_.u16string();
  WriteFile(top_ / "abc5", "");
  fs::create_directory(top_ / "abc6");
  char16_t buffer[MAX_PATH];
  EXPECT_EQ(GetTempFileName(folder.c_str(), u"abcdef", 5, buffer), 7u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/abc7");
  EXPECT_FALSE(fs::exists(top_ / "abc7"));
  EXPECT_EQ(GetTempFileName((folder + u"/").c_str(), nullptr, 0, buffer), 0u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/0");
  // Half a character of the prefix is part of the name, and the file can be made.
  for (const DWORD expected : {1u, 2u}) {
    EXPECT_EQ(GetTempFileName(folder.c_str(), u"ab\U0001F600", 1, buffer), expected);
    EXPECT_EQ(std::u16string(buffer).substr(folder.size()),
              std::u16string({u'/', u'a', u'b', 0xD83D, static_cast<char16_t>(u'0' + expected)}));
    const HANDLE made = CreateFile(buffer, 0, 1, nullptr, CREATE_NEW, 0, nullptr);
    EXPECT_NE(made, INVALID_HANDLE_VALUE);
    CloseHandle(made);
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
  char16_t buffer[MAX_PATH];
  EXPECT_EQ(GetTempPath(MAX_PATH, buffer), expected.size());
  EXPECT_EQ(std::u16string(buffer), expected);
  EXPECT_EQ(GetTempPath(4, buffer), expected.size());
  EXPECT_EQ(std::u16string(buffer), expected.substr(0, 3));
  buffer[0] = u'!';
  EXPECT_EQ(GetTempPath(0, buffer), expected.size());
  EXPECT_EQ(buffer[0], u'!');
  EXPECT_EQ(GetTempPath(MAX_PATH, nullptr), expected.size());
}

}  // namespace
}  // namespace orvik::test
