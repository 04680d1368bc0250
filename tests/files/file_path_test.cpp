// File paths, and names in another Unicode spelling than on disk, for every call.
#include "files/file_path.h"

#include <sstream>
#include <unordered_set>

#include "files/checksum.h"
#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "files/windows_file_handles.h"
#include "files/windows_files.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

TEST(FilePath, TakesAPathApart) {
  const auto cases = Rows<5>(
      "/a/c.tar.gz c.tar.gz c.tar .gz /a; /a.b/c c c - /a.b; /a/.profile .profile - .profile /a;"
      "name name name - -; /x x x - -; - - - - -; /a/b. b. b . /a; C:\\d\\e.f\\ e.f e .f C:/d");
  for (const auto& [path, name, base, extension, folder] : cases) {
    const COrvikFilePath file{CAtlString(path)};
    EXPECT_EQ(Units(file.GetFileName()), name);
    EXPECT_EQ(Units(file.GetBaseFileName()), base);
    EXPECT_EQ(Units(file.GetFileExtension()), extension);
    EXPECT_TRUE(file.HasExtension(extension));
    EXPECT_FALSE(file.HasExtension(extension + u"\u00AD"));
    EXPECT_EQ(Units(file.GetDirectoryPath()), folder);
  }
}

TEST(FilePath, RenamesTheExtension) {
  for (const std::u16string path : {u"/a/b", u"/a.b/c", u"/a/b.txt"}) {
    COrvikFilePath file{CAtlString(path)};
    file.RenameFileExtension(u".md");
    EXPECT_EQ(Units(file), path.substr(0, path.rfind(u".txt")) + u".md");
  }
}

TEST(FilePath, TakesThePathOutOfAUrl) {
  const std::pair<const char16_t*, std::u16string> cases[] = {
      {u"file:///a/b%20c", u"/a/b%20c"}, {u"see file:///x/", u"/x"}, {u"file:", u""},
      {u"file://host/x", u"host/x"},     {u"FILE:///x", u"/old"},    {u"http://x", u"/old"}};
  for (const auto& [url, path] : cases) {
    COrvikFilePath file{CAtlString(u"/old")};
    EXPECT_EQ(file.createFromFileURL(url), path == u"/old" ? FALSE : TRUE);
    EXPECT_EQ(Units(file), path) << testing::PrintToString(url);
  }
}

TEST(FilePath, TellsNamesThatOtherPlatformsRefuse) {
  for (const auto& [path, valid] :
       Rows<2>("/d/LPT3.doc no; nul no; .hidden no; a:b no; con.txt no; Aux no; com1 no; a? no; "
               "LPT9 no;"
               ".con no; COM10 yes; console yes; a.nul yes; COM0 yes; x.y.z yes; /a:b/c yes")) {
    EXPECT_EQ(COrvikFilePath(CAtlString(path)).IsValidWindowsFileName(), valid == u"yes")
        << testing::PrintToString(path);
  }
  EXPECT_TRUE(COrvikFilePath(u"/a:b/c").IsValidForCrossPlatform());  // only the name counts
}

TEST(FilePath, MakesNamesThatOtherPlatformsTake) {
  for (const auto& [path, made] :
       Rows<2>("/d:e/a?b: /d:e/ab; /d/?? /d/new; /d/.x /d/new.x; a* /a; /d/ok /d/ok")) {
    COrvikFilePath file{CAtlString(path)};
    file.MakeValidForCrossPlatform(u"new");
    EXPECT_EQ(Units(file), made);
  }
  EXPECT_EQ(Units(COrvikFilePath::MakeNameLegal(u"<a>:\"b/\\c|?*d.")), u"abcd.");
}

TEST(FilePath, ComparesIgnoringCaseInAnyLocale) {
  for (const char* locale : {"C", "tr_TR.UTF-8"}) {
    const ScopedVariable variable("LC_ALL", locale);
    EXPECT_TRUE(COrvikFilePath(u"/A/I\u00C9").IsEqualPath(COrvikFilePath(u"/a/i\u00E9")));
    EXPECT_TRUE(COrvikDirectoryPath(u"/TITLE/x").IsSubdirectoryOf(CAtlString(u"/title")));
    EXPECT_TRUE(COrvikFilePath(u"x.URL").IsURLShortCut() && COrvikFilePath(u"x.Lnk").IsShortCut());
  }
  EXPECT_FALSE(COrvikFilePath(u"/a/./b").IsEqualPath(COrvikFilePath(u"/a/b")));
  EXPECT_FALSE(COrvikFilePath(u"x.url.txt").IsURLShortCut());
}

using FilePathOnDisk = EnvironmentTest;

TEST_F(FilePathOnDisk, TakesAndGivesBackWritePermission) {
  const COrvikFilePath file = File(At("f"));
  EXPECT_TRUE(file.SetFileReadOnly() && file.ClearFileReadOnly() && file.CanFileBeWrittenTo());
  EXPECT_FALSE(file.FileExists());
  WriteFile(At("f"), "x");
  fs::permissions(At("f"), fs::perms(0664));
  EXPECT_TRUE(file.CanFileBeWrittenTo());
  EXPECT_TRUE(file.SetFileReadOnly());
  EXPECT_EQ(ModeOf(At("f")), 0444u);
  EXPECT_FALSE(file.CanFileBeWrittenTo());
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(file.ClearFileReadOnly());
    EXPECT_EQ(ModeOf(At("f")), 0644u);
  }
}

// Two threads read the largest. A size that does not fit in 32 bits is 0xFFFFFFFF, never truncated.
TEST_F(FilePathOnDisk, MeasuresRegularFilesOnly) {
  Plant(top_, "d/ link->f to_d->d pipe|");
  for (const int count : {0, 77'777, 1'000'000}) {
    const std::string content = Repeated("123456789", count);
    WriteFile(At("f"), content);
    for (const char* name : {"f", "link"}) {
      EXPECT_EQ(File(At(name)).GetFileSize(), content.size());
      EXPECT_EQ(File(At(name)).GetFileChecksum(),
                _CalculateCRC32(content.data(), static_cast<long>(content.size())));
    }
  }
  for (const char* name : {"none", "d", "to_d", "pipe"}) {
    EXPECT_EQ(File(At(name)).GetFileSize(), 0xFFFFFFFFu) << name;
    EXPECT_EQ(File(At(name)).GetFileChecksum(), 0u) << name;
  }
  for (const off_t size :
       std::initializer_list<off_t>{0x80000000, 0xFFFFFFFE, 0xFFFFFFFF, 0x100000005}) {
    ASSERT_EQ(truncate(At("f").c_str(), size), 0);
    EXPECT_EQ(File(At("f")).GetFileSize(), std::min<off_t>(size, 0xFFFFFFFF));
  }
}

TEST_F(FilePathOnDisk, CountsDays) {
  EXPECT_EQ(File(At("none")).GetNumberOfDaysOld(), 0);
  WriteFile(At("f"), "x");
  const time_t now = time(nullptr);
  const std::pair<time_t, int> ages[] = {
      {0, 0}, {86400 - 60, 0}, {86400 + 60, 1}, {86400 * 30 + 60, 30}, {-86400 * 2 - 60, -2}};
  for (const auto& [seconds, days] : ages) {
    const timespec times[2] = {{now, 0}, {now - seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, At("f").c_str(), times, 0), 0);
    EXPECT_EQ(File(At("f")).GetNumberOfDaysOld(), days);
    EXPECT_EQ(Folder(At("f")).GetNumberOfDaysOld(), days);
  }
}

TEST_F(FilePathOnDisk, NamesTemporaryFiles) {
  const COrvikFilePath first = COrvikFilePath::CreateTempFileName(u".tmp", u"");
  EXPECT_EQ(first.GetDirectoryPath(), Folder(env_.temp()));
  const std::string name(first.GetFileNameA().View());
  EXPECT_TRUE(name.starts_with("PGW-" + std::to_string(getpid()) + "-") && name.ends_with(".tmp"));
  EXPECT_FALSE(first.FileExists());
  COrvikDirectoryPath::SetTempFileDirectoryPath(Folder(env_.folder()));
  EXPECT_EQ(COrvikFilePath::CreateTempFileName(u".tmp", u"n"), File(env_.folder() / "n.tmp"));
  COrvikDirectoryPath::SetTempFileDirectoryPath({});
}

TEST_F(FilePathOnDisk, EveryCallFindsTheOtherSpellingAndMakesNoTwin) {
  const std::string composed = "caf\xC3\xA9", decomposed = "cafe\xCC\x81";
  MakeTree(top_, {decomposed + "=old", "source=new"});
  const CAtlString taken = Text(At(composed)), source = Text(At("source"));
  const COrvikFilePath file = File(At(composed));
  EXPECT_EQ(CreateFile(taken, 0, 1, nullptr, CREATE_NEW, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_TRUE(CreateDirectory(taken, nullptr));
  EXPECT_FALSE(CopyFile(source, taken, TRUE));
  EXPECT_FALSE(MoveFile(source, taken));
  EXPECT_FALSE(CFileManipulator::MoveFileTo(File(At("source")), file));
  EXPECT_EQ(TreeIn(top_), (std::vector<std::string>{decomposed + "=old", "source=new"}));
  EXPECT_TRUE(CopyFile(source, taken, FALSE));
  EXPECT_EQ(CFileManipulator::WriteAsciiStringToFile(file, "text", 4), S_OK);
  EXPECT_EQ(file.GetFileSize(), 4u);
  EXPECT_TRUE(file.SetFileReadOnly());
  EXPECT_EQ(ModeOf(At(decomposed)) & 0222, 0u);
  EXPECT_TRUE(CFileManipulator::DeleteFile(file));
  WriteFile(At("tree") / decomposed / "x", "x");
  EXPECT_TRUE(CDirectoryManipulator::RemoveDirectoryAndContents(Folder(At("tree") / composed)));
  EXPECT_EQ(TreeText(top_), "source=new tree/");
  // Moved to another spelling of its own name, once.
  for (const BOOL moves : {TRUE, FALSE}) {
    EXPECT_EQ(CFileManipulator::MoveFileTo(File(At("source")), file), moves);
    EXPECT_EQ(CFileManipulator::MoveFileTo(file, File(At(decomposed))), moves);
    EXPECT_EQ(TreeIn(top_), (std::vector<std::string>{decomposed + "=new", "tree/"}));
  }
}

// Names that are not UTF-8 or contain a backslash lead back to the same file.
TEST_F(FilePathOnDisk, MeetsThePathsOfOtherLibraries) {
  for (const fs::path& name : {At("b\\s"), At("caf\xE9"), At("\xC3\xA9")}) {
    WriteFile(name, "x");
    const COrvikFilePath file = COrvikFilePath::FromPath(name);
    EXPECT_TRUE(file.FileExists()) << name;
    EXPECT_EQ(file, COrvikFilePath::FromBytes(name.string()));
    EXPECT_EQ(file.ToPath<fs::path>(), name);
    std::ostringstream out;
    out << file << ' ' << COrvikDirectoryPath::FromPath(name);
    EXPECT_EQ(out.str(), name.string() + " " + name.string());
  }
  EXPECT_EQ(COrvikFilePath().ToBytes(), "");
  EXPECT_EQ(COrvikFilePath(CAtlString(u"a\0b", 3)).ToBytes(), "");
}

TEST(FilePath, IsAValueByItsUnits) {
  const COrvikFilePath a(u"/x/a"), upper(u"/X/a");
  EXPECT_TRUE(a == COrvikFilePath(u"\\x\\a") && a != upper && upper < a);
  const std::unordered_set<COrvikFilePath> files{a, upper, COrvikFilePath(u"/x/a")};
  EXPECT_EQ(files.size(), 2u);
  const COrvikDirectoryPath root, folder = root / u"x";
  EXPECT_EQ(std::unordered_set<COrvikDirectoryPath>({folder, COrvikDirectoryPath(u"/x")}).size(),
            1u);
  EXPECT_EQ((folder / std::u16string(u"b\\c") / CAtlString()).CreateFilePath(u"d"),
            COrvikFilePath(u"/x/b/c/d"));
  EXPECT_EQ(a.RelativeTo(folder), CAtlString(u"a"));
  EXPECT_EQ(a.RelativeTo(root), CAtlString(u"x/a"));
  EXPECT_EQ(folder.RelativeTo(folder), CAtlString());
  for (const char16_t* other : {u"/X", u"/x/a/b", u"/x/ab", u"x"}) {
    EXPECT_EQ(a.RelativeTo(COrvikDirectoryPath(other)), std::nullopt);
  }
  EXPECT_EQ(COrvikFilePath(u"/xy/a").RelativeTo(folder), std::nullopt);
}

}  // namespace
}  // namespace orvik::test
