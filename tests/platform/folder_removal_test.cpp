#include "platform/carbon/folder_removal.h"

#include <atomic>
#include <thread>

#include "platform/carbon/errno_status.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

class FolderRemovalTest : public EnvironmentTest {
 protected:
  OSErr Empty(const fs::path& folder) {
    const FSRef ref = RefOf(folder);
    return FSDeleteFolderContents(&ref);
  }
};

TEST_F(FolderRemovalTest, RemovesEverythingButNothingOutside) {
  WriteFile(top_ / "outside/kept", "x");
  WriteFile(top_ / "tree/a/b/file", "x");
  WriteFile(top_ / "tree/a/caf\xE9\n*", "x");
  fs::create_directories(top_ / "tree/empty");
  fs::create_directory_symlink(top_ / "outside", top_ / "tree/a/to_outside");
  fs::create_directory_symlink("..", top_ / "tree/a/circle");
  mkfifo((top_ / "tree/pipe").c_str(), 0600);
  EXPECT_EQ(Empty(top_ / "tree"), noErr);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
  EXPECT_EQ(ReadFile(top_ / "outside/kept"), "x");
  fs::create_directory_symlink("outside", top_ / "link");
  EXPECT_EQ(Empty(top_ / "link"), errFSNotAFolder);
  EXPECT_TRUE(fs::exists(top_ / "outside/kept"));
}

TEST_F(FolderRemovalTest, LocksAreTakenAway) {
  WriteFile(top_ / "tree/inner/file", "x");
  for (const char* name : {"tree/inner/file", "tree/inner"}) Lock(top_ / name);
  EXPECT_EQ(Empty(top_ / "tree"), noErr);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
}

TEST_F(FolderRemovalTest, ReadOnlyFoldersOfOurOwnAreEmptied) {
  WriteFile(top_ / "tree/a/b/file", "x");
  const WithoutRootRights without(env_.folder());
  for (const auto& [name, mode] : {std::pair{"tree/a/b", 0555}, {"tree/a", 0}, {"tree", 0500}}) {
    chmod((top_ / name).c_str(), static_cast<mode_t>(mode));
  }
  EXPECT_EQ(Empty(top_ / "tree"), noErr);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
}

TEST_F(FolderRemovalTest, DepthIsNotBounded) {
  fs::create_directories(top_ / "tree");
  MakeDeepTree((top_ / "tree").string(), 1000, "a folder of the tree");
  EXPECT_EQ(Empty(top_ / "tree"), noErr);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
}

TEST_F(FolderRemovalTest, SomeoneElseRemovesAndAddsMeanwhile) {
  for (int i = 0; i < 40; ++i) {
    for (int k = 0; k < 20; ++k) {
      WriteFile(top_ / "tree" / std::to_string(i) / std::to_string(k), "");
    }
  }
  std::atomic<bool> done{false};
  std::thread other([&] {
    std::error_code error;
    for (int i = 39; i >= 0 && !done; --i) fs::remove_all(top_ / "tree" / std::to_string(i), error);
  });
  EXPECT_EQ(Empty(top_ / "tree"), noErr);
  done = true;
  other.join();
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
}

}  // namespace
}  // namespace orvik::test
