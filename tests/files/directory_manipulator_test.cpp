#include "files/directory_manipulator.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <map>

#include "tests/files/support.h"
#include "tests/support/file_trees.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using Manipulator = CDirectoryManipulator;
using Entries = std::map<std::string, std::string>;

class DirectoryManipulator : public EnvironmentTest {
 protected:
  // Relative paths below a folder: "f:content", "l:target" or "d".
  static Entries Tree(const fs::path& top) {
    Entries tree;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
      std::string& kind = tree[entry.path().lexically_relative(top).string()];
      if (entry.is_symlink()) {
        kind = "l:" + fs::read_symlink(entry.path()).string();
      } else if (entry.is_directory()) {
        kind = "d";
      } else {
        kind = "f:" + ReadFile(entry.path());
      }
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
  EXPECT_TRUE(Manipulator::CreateDirectory(Folder(At("a/b/c"))));
  EXPECT_TRUE(fs::is_directory(At("a/b/c")));
  EXPECT_TRUE(Manipulator::CreateDirectory(Folder(At("a/b"))));
  WriteFile(At("file"), "x");
  EXPECT_TRUE(Manipulator::CreateDirectory(Folder(At("file"))));
  EXPECT_FALSE(Manipulator::CreateDirectory(Folder(At("file/below"))));
  EXPECT_FALSE(Manipulator::CreateDirectory({}));
  EXPECT_FALSE(Manipulator::CreateDirectory(Folder(At(std::string(256, 'x')))));
  EXPECT_EQ(ReadFile(At("file")), "x");

  const fs::path old = fs::current_path();
  fs::current_path(env_.folder());
  EXPECT_TRUE(Manipulator::CreateDirectory(COrvikDirectoryPath(u"rel/ative")));
  fs::current_path(old);
  EXPECT_TRUE(fs::is_directory(env_.folder() / "rel/ative"));

  // Longer than any fixed buffer.
  std::string deep = "l";
  for (int i = 0; i < 10; ++i) deep += "/" + std::string(100, 'n');
  EXPECT_TRUE(Manipulator::CreateDirectory(Folder(At(deep))));
  EXPECT_TRUE(fs::is_directory(At(deep)));
}

TEST_F(DirectoryManipulator, RemovesEmptyFoldersOnly) {
  EXPECT_TRUE(Manipulator::RemoveDirectory(Folder(At("none"))));
  MakeTree(At("t"));
  EXPECT_FALSE(Manipulator::RemoveDirectory(Folder(At("t"))));
  EXPECT_TRUE(Manipulator::RemoveDirectory(Folder(At("t/empty"))));
  EXPECT_FALSE(Manipulator::RemoveDirectory(Folder(At("t/f1"))));
  EXPECT_FALSE(Manipulator::RemoveDirectory(Folder(At("t/sub/out"))));
  EXPECT_TRUE(Stands(At("t/sub/out")));
}

TEST_F(DirectoryManipulator, RemovesFilesByPattern) {
  for (const char* name : {"d/a.txt", "d/b.txt", "d/c.md", "d/s.txt/in"}) {
    WriteFile(At(name), "x");
  }
  EXPECT_TRUE(Manipulator::RemoveFilesFromDirectory(Folder(At("d")), u"*.txt"));
  EXPECT_EQ(Tree(At("d")), (Entries{{"c.md", "f:x"}, {"s.txt", "d"}, {"s.txt/in", "f:x"}}));
  EXPECT_TRUE(Manipulator::RemoveFilesFromDirectory(Folder(At("d")), u"*.txt"));
  EXPECT_TRUE(Manipulator::RemoveFilesFromDirectory(Folder(At("none")), u"*"));
}

TEST_F(DirectoryManipulator, EmptiesAndRemovesTreesWithoutFollowingLinks) {
  MakeTree(At("t"));
  ASSERT_EQ(mkfifo(At("t/pipe").c_str(), 0600), 0);
  EXPECT_TRUE(Manipulator::RemoveAllFilesAndSubDirectories(Folder(At("t"))));
  EXPECT_TRUE(fs::is_empty(At("t")));
  EXPECT_EQ(ReadFile(At("outside/kept")), "kept");

  MakeTree(At("t"));
  EXPECT_TRUE(Remove("t"));
  EXPECT_FALSE(Stands(At("t")));
  EXPECT_TRUE(Remove("t"));

  fs::create_directory_symlink(At("outside"), At("link"));
  EXPECT_FALSE(Manipulator::RemoveAllFilesAndSubDirectories(Folder(At("link"))));
  EXPECT_FALSE(Manipulator::RemoveFilesFromDirectory(Folder(At("link")), u"*"));
  EXPECT_FALSE(Remove("link"));
  EXPECT_EQ(ReadFile(At("outside/kept")), "kept");
}

TEST_F(DirectoryManipulator, GoesOnAfterAFailure) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's folder";
  MakeTree(At("t"));
  fs::permissions(At("t/sub"), fs::perms(0500));  // ours, so that it is no obstacle
  const WithoutRootRights without(env_.folder(), At("t/sub/deep"));
  EXPECT_FALSE(Manipulator::RemoveAllFilesAndSubDirectories(Folder(At("t"))));
  EXPECT_EQ(Tree(At("t")), (Entries{{"sub", "d"}, {"sub/deep", "d"}, {"sub/deep/f3", "f:three"}}));
}

TEST_F(DirectoryManipulator, AFolderThatCannotBeListedIsNotEmptied) {
  MakeTree(At("t"));
  const COrvikDirectoryPath tree = Folder(At("t"));
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = before;
  none.rlim_cur = 0;
  setrlimit(RLIMIT_NOFILE, &none);
  const BOOL files = Manipulator::RemoveFilesFromDirectory(tree, u"*");
  const BOOL all = Manipulator::RemoveAllFilesAndSubDirectories(tree);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(files);
  EXPECT_FALSE(all);
  EXPECT_TRUE(Stands(At("t/f1")));
  // "//" is stored as "/".
  for (const char16_t* root : {u"//", u"/."}) {
    EXPECT_FALSE(Manipulator::RemoveFilesFromDirectory(COrvikDirectoryPath(root), u"no such name"));
  }
}

TEST_F(DirectoryManipulator, ReportsWhatFailedAndWhy) {
  MakeTree(At("s"));
  ASSERT_EQ(mkfifo(At("s/sub/pipe").c_str(), 0600), 0);
  TreeReport copied;
  EXPECT_EQ(Manipulator::RecursivelyCopyDirectory(Folder(At("s")), Folder(At("t")), FALSE, &copied),
            S_OK);
  EXPECT_EQ(copied.done, 6u);
  EXPECT_EQ(copied.failed, 1u);
  ASSERT_EQ(copied.failures.size(), 1u);
  EXPECT_EQ(Units(copied.failures[0].path), At("s/sub/pipe").u16string());
  EXPECT_EQ(copied.failures[0].error, EOPNOTSUPP);
  EXPECT_FALSE(copied.failures[0].reason.IsEmpty());
  TreeReport removed;
  EXPECT_TRUE(Manipulator::RemoveDirectoryAndContents(Folder(At("t")), &removed));
  EXPECT_EQ(removed.done, 9u);
  EXPECT_EQ(removed.failed, 0u);
}

// Deeper than a path may be long.
TEST_F(DirectoryManipulator, CopiesMovesAndRemovesDeepTrees) {
  fs::create_directory(At("t"));
  const std::string deep = MakeDeepTree(At("t"), 90, std::string(60, 'n'));
  const std::string below = deep.substr(At("t").string().size());
  const auto leaf = [&](const char* top) { return File(At(top).string() + below + "/leaf"); };
  EXPECT_EQ(Copy("t", "u"), S_OK);
  EXPECT_TRUE(leaf("u").FileExists());
  EXPECT_EQ(Copy("u", "v", TRUE), S_OK);
  EXPECT_TRUE(leaf("v").FileExists());
  EXPECT_FALSE(leaf("u").FileExists());
  // From and into folders whose own paths are as long, but never into itself.
  const COrvikDirectoryPath from = Folder(deep), to = Folder(At("u").string() + below + "/new");
  EXPECT_EQ(Manipulator::RecursivelyCopyDirectory(from, to, FALSE), S_OK);
  EXPECT_TRUE(to.CreateFilePath(u"leaf").FileExists());
  EXPECT_EQ(Manipulator::RecursivelyCopyDirectory(Folder(At("u")), to, FALSE), E_FAIL);
  for (const char* top : {"t", "u", "v"}) {
    EXPECT_TRUE(Remove(top));
    EXPECT_FALSE(Stands(At(top)));
  }
}

TEST_F(DirectoryManipulator, ListsAndRemovesAHundredThousandEntries) {
  char top[] = "/dev/shm/orvik-test-XXXXXX";
  if (mkdtemp(top) == nullptr) GTEST_SKIP() << "no memory file system";
  for (int i = 0; i < 20; ++i) {
    const std::string folder = std::string(top) + "/" + std::to_string(i);
    ASSERT_EQ(mkdir(folder.c_str(), 0777), 0);
    const std::string first = folder + "/0";
    close(open(first.c_str(), O_CREAT | O_WRONLY, 0666));
    for (int k = 1; k < 5000; ++k) {
      ASSERT_EQ(link(first.c_str(), (folder + "/" + std::to_string(k)).c_str()), 0);
    }
  }
  CAtlArray<COrvikDirectoryPath> folders;
  Folder(top).ListSubDirectories(u"*", folders, TRUE);
  ASSERT_EQ(folders.GetCount(), 20u);
  CAtlArray<COrvikFilePath> files;
  for (const COrvikDirectoryPath& folder : folders) folder.FindFilesInDirectory(u"*", files);
  EXPECT_EQ(files.GetCount(), 100'000u);
  EXPECT_TRUE(Manipulator::RemoveDirectoryAndContents(Folder(top)));
  EXPECT_FALSE(Stands(top));
}

TEST_F(DirectoryManipulator, CopiesTrees) {
  MakeTree(At("s"));
  WriteFile(At("t/f1"), "overwritten");
  WriteFile(At("t/own"), "own");
  EXPECT_EQ(Copy("s", "t"), S_OK);
  Entries expected = Tree(At("s"));
  EXPECT_EQ(expected.size(), 9u);
  expected["own"] = "f:own";
  EXPECT_EQ(Tree(At("t")), expected);

  EXPECT_EQ(Copy("none", "u"), E_FAIL);
  EXPECT_FALSE(Stands(At("u")));
}

TEST_F(DirectoryManipulator, MovesTheFilesOfTrees) {
  MakeTree(At("s"));
  const Entries before = Tree(At("s"));
  EXPECT_EQ(Copy("s", "new/t", TRUE), S_OK);
  EXPECT_EQ(Tree(At("new/t")), before);
  EXPECT_EQ(Tree(At("s")), (Entries{{"sub", "d"}, {"sub/deep", "d"}, {"empty", "d"}}));
}

TEST_F(DirectoryManipulator, RefusesToCopyAFolderIntoItself) {
  MakeTree(At("s"));
  const Entries before = Tree(At("s"));
  fs::create_directory_symlink("s", At("alias"));
  for (const char* target : {"s", "s/sub", "s/sub/new/deeper", "alias", "alias/new", "s/../s/x",
                             "none/../s/x", "none/../alias/x", "none/a/../../s"}) {
    for (const BOOL move : {FALSE, TRUE}) {
      EXPECT_EQ(Copy("s", target, move), E_FAIL) << target;
    }
  }
  EXPECT_EQ(Tree(At("s")), before);
  EXPECT_EQ(Copy("s", "s2"), S_OK);
  EXPECT_EQ(Copy("s2/sub", "s2"),
            S_OK);  // out of itself is no trouble

  WriteFile(At("d/sub/inner/file"), "x");
  fs::create_directories(At("e"));
  fs::create_directory_symlink(At("d/sub/inner"), At("e/sub"));
  EXPECT_EQ(Copy("d", "e"), E_FAIL);
  EXPECT_FALSE(fs::exists(At("d/sub/inner/inner")));
}

}  // namespace
}  // namespace orvik::test
