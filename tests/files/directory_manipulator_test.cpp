#include "files/directory_manipulator.h"

#include <unistd.h>

#include <cerrno>
#include <map>

#include "tests/files/support.h"

namespace orvik::test {
namespace {

using Manipulator = CDirectoryManipulator;
using Entries = std::map<std::string, std::string>;

class DirectoryManipulator : public EnvironmentTest {
 protected:
  // Relative paths below a folder: "f:content", "l:target", "d" or "?".
  static Entries Tree(const fs::path& top) {
    Entries tree;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
      tree[entry.path().lexically_relative(top).string()] =
          entry.is_symlink()        ? "l:" + fs::read_symlink(entry.path()).string()
          : entry.is_directory()    ? "d"
          : entry.is_regular_file() ? "f:" + ReadFile(entry.path())
                                    : "?";
    }
    return tree;
  }
  HRESULT Copy(const std::string& from, const std::string& to, BOOL move = FALSE) const {
    return Manipulator::RecursivelyCopyDirectory(Folder(At(from)), Folder(At(to)), move);
  }
  BOOL Remove(const std::string& name) const {
    return Manipulator::RemoveDirectoryAndContents(Folder(At(name)));
  }

  // A tree with files, folders, an empty folder and links to the outside and in a circle.
  void MakeTree(const fs::path& top) const {
    WriteFile(top / "f1", "one");
    WriteFile(top / "sub/f2", "two");
    WriteFile(top / "sub/deep/f3", "three");
    fs::create_directories(top / "empty");
    WriteFile(At("outside/kept"), "kept");
    fs::create_directory_symlink(At("outside"), top / "sub/out");
    fs::create_directory_symlink("..", top / "sub/circle");
    fs::create_symlink("nowhere", top / "dangling");
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

TEST_F(DirectoryManipulator, RemovesEmptyFoldersAndFilesByPattern) {
  MakeTree(At("t"));
  const std::pair<const char*, BOOL> cases[] = {
      {"none", TRUE}, {"t", FALSE}, {"t/empty", TRUE}, {"t/f1", FALSE}, {"t/sub/out", FALSE}};
  for (const auto& [name, removed] : cases) {
    EXPECT_EQ(Manipulator::RemoveDirectory(Folder(At(name))), removed) << name;
    EXPECT_EQ(Exists(At(name)), removed == FALSE) << name;
  }
  for (const char* name : {"d/a.txt", "d/b.txt", "d/c.md", "d/s.txt/in"}) WriteFile(At(name), "x");
  for (const char* name : {"d", "d", "none"}) {
    EXPECT_TRUE(Manipulator::RemoveFilesFromDirectory(Folder(At(name)), u"*.txt"));
  }
  EXPECT_EQ(Tree(At("d")), (Entries{{"c.md", "f:x"}, {"s.txt", "d"}, {"s.txt/in", "f:x"}}));
}

TEST_F(DirectoryManipulator, EmptiesAndRemovesTreesWithoutFollowingLinks) {
  MakeTree(At("t"));
  EXPECT_TRUE(Manipulator::RemoveAllFilesAndSubDirectories(Folder(At("t"))));
  EXPECT_TRUE(fs::is_empty(At("t")));
  MakeTree(At("t"));
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(Remove("t"));
  EXPECT_FALSE(Exists(At("t")));
  fs::create_directory_symlink(At("outside"), At("link"));
  EXPECT_FALSE(Manipulator::RemoveAllFilesAndSubDirectories(Folder(At("link"))));
  EXPECT_FALSE(Manipulator::RemoveFilesFromDirectory(Folder(At("link")), u"*"));
  for (const char16_t* root : {u"//", u"/."}) {  // "//" is stored as "/"
    EXPECT_FALSE(Manipulator::RemoveFilesFromDirectory(COrvikDirectoryPath(root), u"no such name"));
  }
  EXPECT_FALSE(Remove("link"));
  EXPECT_EQ(ReadFile(At("outside/kept")), "kept");
}

TEST_F(DirectoryManipulator, CopiesAndMovesTreesAndReportsWhatFailed) {
  MakeTree(At("s"));
  const Entries source = Tree(At("s"));
  ASSERT_EQ(mkfifo(At("s/sub/pipe").c_str(), 0600), 0);
  WriteFile(At("t/f1"), "overwritten");
  WriteFile(At("t/own"), "own");
  TreeReport copied, removed;
  EXPECT_EQ(Manipulator::RecursivelyCopyDirectory(Folder(At("s")), Folder(At("t")), FALSE, &copied),
            S_OK);
  Entries expected = source;
  EXPECT_EQ(expected.size(), 9u);
  expected["own"] = "f:own";
  EXPECT_EQ(Tree(At("t")), expected);
  EXPECT_EQ(copied.done, 6u);
  EXPECT_EQ(copied.failed, 1u);
  ASSERT_EQ(copied.failures.size(), 1u);
  EXPECT_EQ(Units(copied.failures[0].path), At("s/sub/pipe").u16string());
  EXPECT_EQ(copied.failures[0].error, EOPNOTSUPP);
  EXPECT_FALSE(copied.failures[0].reason.IsEmpty());
  EXPECT_TRUE(Manipulator::RemoveDirectoryAndContents(Folder(At("t")), &removed));
  EXPECT_EQ(removed.done, 10u);
  EXPECT_EQ(removed.failed, 0u);

  fs::remove(At("s/sub/pipe"));
  EXPECT_EQ(Copy("s", "new/t", TRUE), S_OK);
  EXPECT_EQ(Tree(At("new/t")), source);
  EXPECT_EQ(Tree(At("s")), (Entries{{"sub", "d"}, {"sub/deep", "d"}, {"empty", "d"}}));
  EXPECT_EQ(Copy("none", "u"), E_FAIL);
  EXPECT_FALSE(Exists(At("u")));
}

// Deeper than a path may be long.
TEST_F(DirectoryManipulator, CopiesMovesAndRemovesDeepTrees) {
  fs::create_directory(At("t"));
  const std::string deep = MakeDeepTree(At("t"), 90, std::string(60, 'n'));
  const std::string below = deep.substr(At("t").string().size());
  EXPECT_EQ(Copy("t", "u"), S_OK);
  EXPECT_EQ(Copy("u", "v", TRUE), S_OK);
  EXPECT_TRUE(File(At("v").string() + below + "/leaf").FileExists());
  EXPECT_FALSE(File(At("u").string() + below + "/leaf").FileExists());
  // From and into folders whose own paths are as long, but never into itself.
  const COrvikDirectoryPath from = Folder(deep), to = Folder(At("u").string() + below + "/new");
  EXPECT_EQ(Manipulator::RecursivelyCopyDirectory(from, to, FALSE), S_OK);
  EXPECT_TRUE(to.CreateFilePath(u"leaf").FileExists());
  EXPECT_EQ(Manipulator::RecursivelyCopyDirectory(Folder(At("u")), to, FALSE), E_FAIL);
  for (const char* top : {"t", "u", "v"}) EXPECT_TRUE(Remove(top));
  EXPECT_TRUE(fs::is_empty(top_));
}

TEST_F(DirectoryManipulator, RefusesToCopyAFolderIntoItself) {
  MakeTree(At("s"));
  const Entries before = Tree(At("s"));
  fs::create_directory_symlink("s", At("alias"));
  for (const char* target : {"s", "s/sub", "s/sub/new/deeper", "alias", "alias/new", "s/../s/x",
                             "none/../s/x", "none/../alias/x", "none/a/../../s"}) {
    for (const BOOL move : {FALSE, TRUE}) EXPECT_EQ(Copy("s", target, move), E_FAIL) << target;
  }
  EXPECT_EQ(Tree(At("s")), before);
  EXPECT_EQ(Copy("s", "s2"), S_OK);
  EXPECT_EQ(Copy("s2/sub", "s2"), S_OK);  // out of itself is no trouble
  WriteFile(At("d/sub/inner/file"), "x");
  fs::create_directories(At("e"));
  fs::create_directory_symlink(At("d/sub/inner"), At("e/sub"));
  EXPECT_EQ(Copy("d", "e"), E_FAIL);
  EXPECT_FALSE(fs::exists(At("d/sub/inner/inner")));
}

}  // namespace
}  // namespace orvik::test
