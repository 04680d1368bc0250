// Folders: their paths, and what is done to them.
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
  const std::tuple<const char16_t*, const char16_t*, BOOL> cases[] = {
      {u"/Users/Ann", u"/users", TRUE},
      {u"/a/bc", u"/a/b", TRUE},
      {u"/a", u"/a", TRUE},
      {u"/a", u"/a/b", FALSE},
      {u"", u"", FALSE},
      {u"/a", u"", FALSE},
      {u"", u"/a", FALSE},
      {u"/b/a", u"/a", FALSE},
  };
  for (const auto& [path, other, inside] : cases) {
    EXPECT_EQ(Path(CAtlString(path)).IsSubdirectoryOf(CAtlString(other)), inside)
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
  fs::create_directories(At("b/z"));
  fs::create_directories(At("a"));
  WriteFile(At("file"), "x");
  fs::create_directory_symlink("..", At("b/circle"));
  EXPECT_EQ(Subfolders(u"*", TRUE), (Names{u"/a", u"/b", u"/b/z"}));
  EXPECT_EQ(Subfolders(u"*", FALSE), (Names{u"/a", u"/b"}));
  EXPECT_EQ(Subfolders(u"z", TRUE), (Names{u"/b/z"}));  // below a folder that does not match
  EXPECT_EQ(Subfolders(u"z", FALSE), Names{});
  CAtlArray<Path> found;
  found.Add(Path(u"/earlier/aa"));
  Folder(top_).ListSubDirectories(u"*", found, FALSE);
  ASSERT_EQ(found.GetCount(), 3u);
  EXPECT_EQ(Units(found[1]), u"/earlier/aa");  // the whole array is in order
  Folder(At("none")).ListSubDirectories(u"*", found, TRUE);
  EXPECT_EQ(found.GetCount(), 3u);
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
  EXPECT_EQ(report.failed, 1u);
  EXPECT_EQ(Units(report.failures[0].path), At("closed").u16string());
  EXPECT_EQ(report.failures[0].error, EACCES);
}

TEST_F(DirectoryPathOnDisk, FindsFilesByPattern) {
  for (const char* name : {"a.txt", "a.b.txt", "B.TXT", "data1", "data"}) WriteFile(At(name), "x");
  fs::create_directory(At("folder.txt"));
  fs::create_directory_symlink("folder.txt", At("link.txt"));
  ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
  EXPECT_EQ(Files(u"*.txt"), (Names{u"a.txt", u"link.txt"}));
  EXPECT_EQ(Files(u"p*"), (Names{u"pipe"}));
  EXPECT_EQ(Files(u"data?"), (Names{u"data1"}));
  EXPECT_EQ(Files(u"*").size(), 7u);
  CAtlArray<COrvikFilePath> found;
  EXPECT_EQ(Folder(At("none")).FindFilesInDirectory(u"*", found), 0);
  EXPECT_NE(Folder(At("a.txt")).FindFilesInDirectory(u"*", found), 0);
  EXPECT_TRUE(found.IsEmpty());
}

TEST_F(DirectoryPathOnDisk, EveryNameThatIsListedOpensItsFile) {
  // Decomposed, decomposed beside composed, two decomposed spellings of one name, the Kelvin sign,
  // no UTF-8, a backslash, controls, 255 bytes.
  const std::vector<std::string> names{
      "e\xCC\x81",     "o\xCC\x88", "\xC3\xB6", "a\xCC\xA3\xCC\x82", "\xE1\xBA\xA1\xCC\x82",
      "K\xE2\x84\xAA", "\xFF\xFE",  "a\\b",     "\x01\x7F",          std::string(255, 'x')};
  std::set<DWORD> expected, sizes;
  for (std::size_t i = 1; i <= names.size(); ++i) {
    WriteFile(At(names[i - 1]), std::string(i, 'x'));
    expected.insert(static_cast<DWORD>(i));
  }
  CAtlArray<COrvikFilePath> found;
  EXPECT_EQ(Folder(top_).FindFilesInDirectory(u"*", found), 0);
  for (const COrvikFilePath& file : found) sizes.insert(file.GetFileSize());
  EXPECT_EQ(sizes, expected);
  EXPECT_EQ(Files(u"\u00E9"), Names{u"\u00E9"});
  EXPECT_EQ(Files(u"a\\b").size(), 1u);  // a pattern sees the name as it is
}

TEST_F(DirectoryPathOnDisk, MakesUniqueNames) {
  const Path top = Folder(top_);
  const auto backup = [&] {
    return Units(Path::CreateUniqueSubDirectoryPath(top, u"Backup").GetLastDirectoryName());
  };
  const auto unique = [&](const char16_t* extension) {
    return Units(Path::CreateUniqueFilePath(top, u"Report", extension).GetFileName());
  };
  EXPECT_EQ(backup(), u"Backup");
  EXPECT_EQ(unique(u"txt"), u"Report.txt");
  for (const char* name : {"Backup", "Backup1", "Report.txt", "Report 2.txt"}) {
    WriteFile(At(name), "");
  }
  EXPECT_EQ(backup(), u"Backup2");
  EXPECT_EQ(unique(u"txt"), u"Report 3.txt");
  EXPECT_EQ(unique(u".txt"), u"Report 3.txt");
  EXPECT_EQ(unique(u""), u"Report");
  EXPECT_EQ(Units(Path::CreateUniqueFilePath(Folder(At("none")), u"n", u"x")), u"n");

  EXPECT_EQ(Units(top.CreateTempFileNameInDirectory(u"t", u".tmp").GetFileName()), u"t.tmp");
  WriteFile(At("t.tmp"), "");
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

TEST_F(DirectoryPathOnDisk, FindsTheTemporaryFolder) {
  EXPECT_EQ(Units(Path::GetTempDirectoryPath()), Units(Folder(env_.temp())));
  const std::string long_path = env_.temp().string() + "/" + std::string(250, 'l');
  setenv("TMPDIR", long_path.c_str(), 1);
  EXPECT_EQ(Units(Path::GetTempDirectoryPath()), Units(Folder(long_path)));
  EXPECT_EQ(Units(Path::GetTempFileDirectoryPath()), Units(Folder(long_path)));
  Path::SetTempFileDirectoryPath(Folder(env_.home()));
  EXPECT_EQ(Units(Path::GetTempFileDirectoryPath()), Units(Folder(env_.home())));
  Path::SetTempFileDirectoryPath({});
}

class Edition : public EnvironmentTest {
 protected:
  void TearDown() override { CPagewellEditionHelper::SetPagewellStudentMode(false); }

  std::u16string Below(const char16_t* rest) const {
    return Units(Text(env_.temp())) + u"/ORVIK Technologies" + rest;
  }
};

TEST_F(Edition, StudentModeRenamesTheTemporaryFolders) {
  EXPECT_EQ(Units(Path::GetORVIKDirectoryPath()), Below(u""));
  EXPECT_EQ(Units(Path::GetPagewellTempDirectoryPath()), Below(u"/ORVIK Pagewell"));
  EXPECT_EQ(Units(Path::GetApplicationTempFileDirectoryPath(u"orvik PAGEWELL")),
            Below(u"/orvik PAGEWELL/TempFiles"));

  CPagewellEditionHelper::SetPagewellStudentMode(true);
  EXPECT_EQ(Units(Path::GetPagewellTempDirectoryPath()), Below(u"/ORVIK Pagewell SE"));
  EXPECT_EQ(Units(Path::GetApplicationTempFileDirectoryPath(u"orvik PAGEWELL")),
            Below(u"/ORVIK Pagewell SE/TempFiles"));
  EXPECT_EQ(Units(Path::GetApplicationTempFileDirectoryPath(u"Other")), Below(u"/Other/TempFiles"));
  EXPECT_FALSE(Exists(env_.temp() / "ORVIK Technologies"));
}

using Manipulator = CDirectoryManipulator;
using Words = std::vector<std::string>;

class DirectoryManipulator : public EnvironmentTest {
 protected:
  HRESULT Copy(const std::string& from, const std::string& to, BOOL move = FALSE,
               TreeReport* report = nullptr) const {
    return Manipulator::RecursivelyCopyDirectory(Folder(At(from)), Folder(At(to)), move, report);
  }
};

TEST_F(DirectoryManipulator, CreatesAllMissingFolders) {
  WriteFile(At("file"), "x");
  std::string deep = "l";  // longer than any fixed buffer
  for (int i = 0; i < 10; ++i) deep += "/" + std::string(100, 'n');
  const std::pair<std::string, BOOL> cases[] = {
      {"a/b/c", TRUE}, {"a/b", TRUE}, {"file", TRUE}, {"file/below", FALSE}, {deep, TRUE}};
  for (const auto& [name, made] : cases) {
    EXPECT_EQ(Manipulator::CreateDirectory(Folder(At(name))), made) << name;
    EXPECT_EQ(fs::is_directory(At(name)), made && name != "file") << name;
  }
  EXPECT_FALSE(Manipulator::CreateDirectory(Folder(At(std::string(256, 'x')))));
  EXPECT_FALSE(Manipulator::CreateDirectory({}));
  const fs::path old = fs::current_path();
  fs::current_path(top_);
  EXPECT_TRUE(Manipulator::CreateDirectory(COrvikDirectoryPath(u"rel/ative")));
  fs::current_path(old);
  EXPECT_TRUE(fs::is_directory(At("rel/ative")));
}

TEST_F(DirectoryManipulator, RemovesFilesByPatternAndAllThatAFolderHolds) {
  Plant(top_, "kept/file link->kept d/a.txt d/b.txt d/c.md d/s.txt/in");
  for (const char* name : {"d", "d", "none"}) {
    EXPECT_TRUE(Manipulator::RemoveFilesFromDirectory(Folder(At(name)), u"*.txt"));
  }
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
  const Words tree = {"dangling->nowhere", "empty/",     "f1=one",        "sub/", "sub/deep/",
                      "sub/deep/f3=three", "sub/f2=two", "sub/out->../.."};
  MakeTree(At("s"), tree);
  Plant(top_, "s/sub/pipe| t/f1=overwritten t/own");
  TreeReport copied, removed;
  EXPECT_EQ(Copy("s", "t", FALSE, &copied), S_OK);
  Words expected = tree;
  expected.insert(expected.begin() + 3, "own=x");
  EXPECT_EQ(TreeIn(At("t")), expected);
  EXPECT_EQ(copied.done, 5u);
  ASSERT_EQ(copied.failures.size(), 1u);
  EXPECT_EQ(copied.failed, 1u);
  EXPECT_EQ(Units(copied.failures[0].path), At("s/sub/pipe").u16string());
  EXPECT_EQ(copied.failures[0].error, EOPNOTSUPP);
  EXPECT_FALSE(copied.failures[0].reason.IsEmpty());
  EXPECT_TRUE(Manipulator::RemoveDirectoryAndContents(Folder(At("t")), &removed));
  EXPECT_EQ(removed.done, 9u);
  EXPECT_EQ(removed.failed, 0u);

  fs::remove(At("s/sub/pipe"));
  EXPECT_EQ(Copy("s", "new/t", TRUE), S_OK);
  EXPECT_EQ(TreeIn(At("new/t")), tree);
  EXPECT_EQ(TreeText(At("s")), "empty/ sub/ sub/deep/");
  for (const BOOL move : {FALSE, TRUE}) EXPECT_EQ(Copy("s", "s/sub/new", move), E_FAIL);
  EXPECT_EQ(Copy("none", "u"), E_FAIL);
  EXPECT_FALSE(Exists(At("u")));
}

}  // namespace
}  // namespace orvik::test
