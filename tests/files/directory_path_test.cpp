// The paths of folders, and operations on folders.
#include "files/directory_path.h"
#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "tests/files/support.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using Names = std::vector<std::u16string>;
using Path = COrvikDirectoryPath;

TEST(DirectoryPath, AddsAndRemovesComponents) {
  Path path = Path::CreateDirectoryPath(u"C:\\Users\\x\\");
  EXPECT_EQ(Units(path), u"C:/Users/x");
  path.AddDirectoryToPath(u"a\\b\\");
  path.AddDirectoryToPath(u"");
  EXPECT_EQ(Units(path), u"C:/Users/x/a/b");
  EXPECT_EQ(Units(path.GetLastDirectoryName()), u"b");
  EXPECT_EQ(Units(path.CreateFilePath(u"f.txt")), u"C:/Users/x/a/b/f.txt");
  EXPECT_EQ(path.GetDirectoryPathStringA().View(), "C:/Users/x/a/b");

  Path root;
  root.AddDirectoryToPath(u"Users");
  EXPECT_EQ(Units(root), u"/Users");
  EXPECT_TRUE(root.RemoveLastSubdirectoryFromPath());
  EXPECT_TRUE(root.IsEmptyPath());
  EXPECT_FALSE(root.RemoveLastSubdirectoryFromPath());
  Path plain(u"plain");
  EXPECT_FALSE(plain.RemoveLastSubdirectoryFromPath());
  EXPECT_EQ(Units(plain), u"plain");
}

TEST(DirectoryPath, ComparesAndContains) {
  for (const auto& [path, other, inside] :
       Rows<3>("/Users/Ann /users yes; /a/bc /a/b yes; /a /a yes; /a /a/b no; - - no; /a - no;"
               "- /a no; /b/a /a no")) {
    EXPECT_EQ(Path(CAtlString(path)).IsSubdirectoryOf(CAtlString(other)), inside == u"yes")
        << testing::PrintToString(path) << testing::PrintToString(other);
  }
  EXPECT_TRUE(Path(u"/A/b").IsEqualPath(CAtlString(u"/a/B/")));
  EXPECT_FALSE(Path(u"/a|b").IsValidForCrossPlatform());
  EXPECT_TRUE(Path(u"/a b").CanDirectoryBeWrittenTo());
  Path invalid(u"/a|b:c");
  invalid.MakeValidForCrossPlatform();
  EXPECT_EQ(Units(invalid), u"/abc");
}

TEST(DirectoryPath, SortsByLastNameAndKeepsEqualNamesInOrder) {
  CAtlArray<Path> paths;
  for (const char16_t* path : {u"/2/z", u"/9/B", u"/1/z", u"/x/a", u"/y/\u00E9", u"/0/z"}) {
    paths.Add(Path(CAtlString(path)));
  }
  Path::SortPaths(paths);
  Names sorted;
  for (const Path& path : paths) sorted.push_back(Units(path));
  EXPECT_EQ(sorted, (Names{u"/9/B", u"/x/a", u"/2/z", u"/1/z", u"/0/z", u"/y/\u00E9"}));
}

class DirectoryPathOnDisk : public EnvironmentTest {
 protected:
  Names Subfolders(const char16_t* pattern, BOOL recursive) const {
    CAtlArray<Path> found;
    Folder(top_).ListSubDirectories(pattern, found, recursive);
    Names names;
    for (const Path& path : found) {
      names.push_back(Units(path).substr(Units(Folder(top_)).size()));
    }
    return names;
  }
  Names Files(const char16_t* pattern) const {
    CAtlArray<COrvikFilePath> found;
    EXPECT_EQ(Folder(top_).FindFilesInDirectory(pattern, found), 0);
    Names names;
    for (const COrvikFilePath& path : found) names.push_back(Units(path.GetFileName()));
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(DirectoryPathOnDisk, ListsSubfoldersInTheOrderOfTheirLastNames) {
  Plant(top_, "b/z/ a/ file b/circle->..");
  EXPECT_EQ(Subfolders(u"*", TRUE), (Names{u"/a", u"/b", u"/b/z"}));
  EXPECT_EQ(Subfolders(u"*", FALSE), (Names{u"/a", u"/b"}));
  EXPECT_EQ(Subfolders(u"z", TRUE), (Names{u"/b/z"}));  // below a folder that does not match
  EXPECT_EQ(Subfolders(u"z", FALSE), Names{});
  CAtlArray<Path> found;
  Progress progress;
  Folder(top_).ListSubDirectories(u"none", found, TRUE, nullptr, &progress);
  EXPECT_EQ(progress.State().entries_done, 5u);
  found.Add(Path(u"/earlier/aa"));
  Folder(top_).ListSubDirectories(u"*", found, FALSE);
  Folder(At("none")).ListSubDirectories(u"*", found, TRUE);
  ASSERT_EQ(found.GetCount(), 3u);
  EXPECT_EQ(Units(found[1]), u"/earlier/aa");  // the whole array is sorted
}

TEST_F(DirectoryPathOnDisk, NamesSubfoldersThatCannotBeRead) {
  Plant(top_, "open/in/ closed/in/");
  fs::permissions(At("closed"), fs::perms::none);
  TreeReport report;
  CAtlArray<Path> found;
  {
    const WithoutRootRights without(env_.folder());
    Folder(top_).ListSubDirectories(u"*", found, TRUE, &report);
    Folder(At("none")).ListSubDirectories(u"*", found, TRUE, &report);
  }
  EXPECT_EQ(found.GetCount(), 3u);
  ASSERT_EQ(report.failures.size(), 1u);
  EXPECT_EQ(Units(report.failures[0].path), At("closed").u16string());
  EXPECT_EQ(report.failures[0].error, EACCES);
}

// The test of MatchesWildcard has the patterns.
TEST_F(DirectoryPathOnDisk, FindsFilesByPattern) {
  Plant(top_, "a.txt a.b.txt B.TXT folder.txt/ link.txt->folder.txt pipe|");
  EXPECT_EQ(Files(u"*.txt"), (Names{u"a.txt", u"link.txt"}));
  EXPECT_EQ(Files(u"*"), (Names{u"B.TXT", u"a.b.txt", u"a.txt", u"link.txt", u"pipe"}));
  CAtlArray<COrvikFilePath> found;
  EXPECT_EQ(Folder(At("none")).FindFilesInDirectory(u"*", found), 0);
  EXPECT_NE(Folder(At("a.txt")).FindFilesInDirectory(u"*", found), 0);
  EXPECT_TRUE(found.IsEmpty());
}

// A name is composed unless another entry has that name.
TEST_F(DirectoryPathOnDisk, FindsNamesInTheSpellingThatLeadsToThem) {
  const std::pair<std::string, Names> steps[] = {
      {"cafe\xCC\x81", {u"caf\u00E9"}},
      {"\xCC\x81", {u"caf\u00E9", u"\u0301"}},
      {"caf\xC3\xA9", {u"cafe\u0301", u"caf\u00E9", u"\u0301"}}};
  for (const auto& [name, found] : steps) {
    WriteFile(At(name), "x");
    EXPECT_EQ(Files(u"*"), found);
  }
}

TEST_F(DirectoryPathOnDisk, MakesUniqueNames) {
  const Path top = Folder(top_);
  const auto expect_names = [&](const char16_t* backup, const char16_t* report) {
    EXPECT_EQ(Path::CreateUniqueSubDirectoryPath(top, u"Backup").GetLastDirectoryName(), backup);
    for (const char16_t* extension : {u"txt", u".txt"}) {
      EXPECT_EQ(Path::CreateUniqueFilePath(top, u"Report", extension).GetFileName(), report);
    }
  };
  expect_names(u"Backup", u"Report.txt");
  Plant(top_, "Backup Backup1 Report.txt t.tmp");
  WriteFile(At("Report 2.txt"), "");
  expect_names(u"Backup2", u"Report 3.txt");
  EXPECT_EQ(Path::CreateUniqueFilePath(top, u"Report", u"").GetFileName(), u"Report");
  EXPECT_EQ(Units(Path::CreateUniqueFilePath(Folder(At("none")), u"n", u"x")), u"n");
  EXPECT_EQ(top.CreateTempFileNameInDirectory(u"n", u".tmp").GetFileName(), u"n.tmp");
  const COrvikFilePath numbered = top.CreateTempFileNameInDirectory(u"t", u".tmp");
  std::string shape = DigitsAsNines(std::string(numbered.GetFileNameA().View()));
  shape.erase(std::unique(shape.begin(), shape.end()), shape.end());
  EXPECT_EQ(shape, "t(9).tmp");
  EXPECT_FALSE(numbered.FileExists());
}

TEST_F(DirectoryPathOnDisk, FoldersThatThePlatformNamesMayHoldABackslash) {
  const fs::path home = env_.home() / "back\\slash";
  fs::create_directories(home / "Documents");
  setenv("HOME", home.c_str(), 1);
  setenv("TMPDIR", (home / "t").c_str(), 1);
  const Path documents = CFileManipulator::GetSpecialDirectory(5, u"");
  EXPECT_EQ(*host::FileNameToBytes(Units(documents)), home / "Documents");
  EXPECT_EQ(*host::FileNameToBytes(Units(Path::GetTempDirectoryPath())), home / "t");
  WriteFile(home / "file", "x");
  const COrvikFilePath file(documents.GetDirectoryPathString() + u"/../file");
  EXPECT_TRUE(CFileManipulator::DeleteFile(file, FALSE, TRUE));
  EXPECT_TRUE(Exists(home / ".local/share/Trash/info/file.trashinfo"));
}

// Constructed before the objects of the library, which is linked statically here.
const Path kBeforeMain = [] {
  CPagewellEditionHelper::SetPagewellStudentUSBInstallDirectory(Path(u"/usb"));
  return Path::GetTempFileDirectoryPath();
}();

TEST_F(DirectoryPathOnDisk, FindsTheTemporaryFolder) {
  EXPECT_FALSE(kBeforeMain.IsEmptyPath());
  EXPECT_EQ(Units(CPagewellEditionHelper::GetPagewellStudentUSBInstallDirectory()), u"/usb");
  EXPECT_EQ(Path::GetTempDirectoryPath(), Folder(env_.temp()));
  const std::string long_path = env_.temp().string() + "/" + std::string(250, 'l');
  setenv("TMPDIR", long_path.c_str(), 1);
  EXPECT_EQ(Path::GetTempDirectoryPath(), Folder(long_path));
  EXPECT_EQ(Path::GetTempFileDirectoryPath(), Folder(long_path));
  Path::SetTempFileDirectoryPath(Folder(env_.home()));
  EXPECT_EQ(Path::GetTempFileDirectoryPath(), Folder(env_.home()));
  Path::SetTempFileDirectoryPath({});
}

TEST_F(DirectoryPathOnDisk, StudentModeRenamesTheTemporaryFolders) {
  const std::u16string orvik = Units(Folder(env_.temp())) + u"/ORVIK Technologies";
  EXPECT_EQ(Units(Path::GetORVIKDirectoryPath()), orvik);
  const std::tuple<bool, const char16_t*, const char16_t*, const char16_t*> cases[] = {
      {true, u"/ORVIK Pagewell SE", u"orvik PAGEWELL", u"/ORVIK Pagewell SE/TempFiles"},
      {true, u"/ORVIK Pagewell SE", u"Other", u"/Other/TempFiles"},
      {false, u"/ORVIK Pagewell", u"orvik PAGEWELL", u"/orvik PAGEWELL/TempFiles"}};
  for (const auto& [is_student, folder, application, its_folder] : cases) {
    CPagewellEditionHelper::SetPagewellStudentMode(is_student);
    EXPECT_EQ(Units(Path::GetPagewellTempDirectoryPath()), orvik + folder);
    EXPECT_EQ(Units(Path::GetApplicationTempFileDirectoryPath(application)), orvik + its_folder);
  }
  EXPECT_FALSE(Exists(env_.temp() / "ORVIK Technologies"));
}

using Manipulator = CDirectoryManipulator;

using DirectoryManipulator = EnvironmentTest;

TEST_F(DirectoryManipulator, CreatesAllMissingFolders) {
  WriteFile(At("file"), "x");
  const std::string deep = "a" + Repeated("/" + std::string(100, 'n'), 10);
  for (const auto& [name, made] :
       {std::pair<std::string, BOOL>(deep, TRUE), {"a", TRUE}, {"file", TRUE}, {"file/b", FALSE}}) {
    EXPECT_EQ(Manipulator::CreateDirectory(Folder(At(name))), made) << name;
    EXPECT_EQ(fs::is_directory(At(name)), made && name != "file") << name;
  }
  EXPECT_FALSE(Manipulator::CreateDirectory({}));
}

TEST_F(DirectoryManipulator, RemovesFilesByPatternAndAllThatAFolderHolds) {
  Plant(top_, "kept/file link->kept d/a.txt d/b.txt d/c.md d/s.txt/in");
  TreeReport report;
  Progress progress;
  for (const char* name : {"d", "d", "none"}) {
    EXPECT_TRUE(
        Manipulator::RemoveFilesFromDirectory(Folder(At(name)), u"*.txt", &report, &progress));
  }
  EXPECT_EQ(report.done + progress.State().entries_done, 4u);
  EXPECT_EQ(TreeText(At("d")), "c.md=x s.txt/ s.txt/in=x");
  for (const char* name : {"d", "d", "none"}) {
    EXPECT_TRUE(Manipulator::RemoveAllFilesAndSubDirectories(Folder(At(name))));
  }
  EXPECT_FALSE(Manipulator::RemoveAllFilesAndSubDirectories(Folder(At("link"))));
  EXPECT_FALSE(Manipulator::RemoveFilesFromDirectory(Folder(At("link")), u"*"));
  for (const char16_t* root : {u"//", u"/."}) {  // "//" is stored as "/"
    EXPECT_FALSE(Manipulator::RemoveFilesFromDirectory(COrvikDirectoryPath(root), u"no such name"));
  }
  EXPECT_EQ(TreeText(top_), "d/ kept/ kept/file=x link->kept");
}

TEST_F(DirectoryManipulator, CopiesAndMovesTreesAndReportsWhatFailed) {
  const auto copy = [this](const char* from, const char* to, BOOL move, TreeReport* report) {
    return Manipulator::RecursivelyCopyDirectory(Folder(At(from)), Folder(At(to)), move, report);
  };
  Plant(top_, "s/f=one s/sub/pipe| t/f=overwritten");
  TreeReport copied;
  EXPECT_EQ(copy("s", "t", FALSE, &copied), S_OK);
  EXPECT_EQ(TreeText(At("t")), "f=one sub/");
  EXPECT_EQ(copied.done, 1u);
  ASSERT_EQ(copied.failures.size(), 1u);
  EXPECT_EQ(Units(copied.failures[0].path), At("s/sub/pipe").u16string());
  EXPECT_EQ(copied.failures[0].error, EOPNOTSUPP);
  EXPECT_TRUE(Manipulator::RemoveDirectoryAndContents(Folder(At("t")), &copied));
  EXPECT_EQ(copied.done, 3u);
  EXPECT_EQ(copy("s", "new/t", TRUE, nullptr), S_OK);
  EXPECT_EQ(copy("s", "s/sub/new", TRUE, nullptr), E_FAIL);
  EXPECT_EQ(copy("none", "u", FALSE, nullptr), E_FAIL);
  EXPECT_EQ(TreeText(top_), "new/ new/t/ new/t/f=one new/t/sub/ new/t/sub/pipe| s/ s/sub/");
}

}  // namespace
}  // namespace orvik::test
