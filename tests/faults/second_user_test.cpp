// What root does with names that another user has prepared.
//
// Each way to write a file that is named by a path meets each trap: it fails, names the obstacle
// where it has words for it, and neither the file behind the trap nor the trap changes.
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>

#include "files/file_manipulator.h"
#include "host/file_replacement.h"
#include "host/replace_file.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"
#include "tools/orvikprefs/program.h"
#include "xml/config_store.h"

namespace orvik::test {
namespace {

using Words = std::vector<std::string>;
constexpr uid_t kOther = 30002;

COrvikFilePath PathOf(const std::string& path) {
  return COrvikFilePath(CAtlString(path.c_str()));
}

// Writes "new" into the file at the path: whether that is reported as done.
struct Writer {
  std::string name;
  std::function<bool(const std::string& path)> write;
  bool keeps_existing = false;  // takes any existing entry for its own, and does nothing
};

const Writer kWriters[] = {
    {"replacement",
     [](const std::string& path) { return host::ReplaceFile(path, "new").error == 0; }},
    {"writing in place",
     [](const std::string& path) { return host::WriteInPlace(path, "new") == 0; }},
    {"replacement piece by piece",
     [](const std::string& path) {
       host::FileReplacement file;
       return file.Open(path, getenv("TMPDIR")) == 0 && file.Write("new") == 0 &&
              file.Commit() == 0;
     }},
    {"export",
     [](const std::string& path) {
       const char* const words[] = {"orvikprefs", "export", "-o", path.c_str()};
       return prefstool::Run(4, words, false, std::cout, std::cerr) == 0;
     }},
    {"configuration",
     [](const std::string& path) {
       return SetXMLConfig(1, PathOf(path)) && WriteXMLConfigInt(1, "A", "v", 1) &&
              SaveXMLConfigFile(1);
     }},
    {"shortcut",
     [](const std::string& path) {
       return CFileManipulator::CreateShortcut(PathOf(path), PathOf("/new")) == S_OK;
     }},
    {"internet shortcut",
     [](const std::string& path) {
       return CFileManipulator::CreateURLShortcut("http://new/", PathOf(path)) == S_OK;
     },
     true},
};

// What the other user has put into a folder that everyone may write.
struct Trap {
  std::string name;
  Words entries;         // below the stage
  std::string obstacle;  // the entry that is the other user's
  std::string path;      // that root is to write
};

const Trap kTraps[] = {
    {"link to a file", {"shared/out->../safe/victim"}, "shared/out", "shared/out"},
    {"link to a free name", {"shared/out->../safe/new"}, "shared/out", "shared/out"},
    {"link to a link", {"shared/a->../safe/victim", "out->shared/a"}, "shared/a", "out"},
    {"link to a folder", {"shared/way->../safe"}, "shared/way", "shared/way/victim"},
    {"folder behind a link", {"shared/way->../safe"}, "shared/way", "shared/way/free"},
    {"link to a device", {"shared/out->/dev/full"}, "shared/out", "shared/out"},
    {"file that waits for the content", {"shared/out=bait"}, "shared/out", "shared/out"},
    {"pipe that waits for the content", {"shared/out|"}, "shared/out", "shared/out"},
};

TEST(SecondUserTest, RootWritesNothingThroughTheNamesOfAnother) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's names";
  for (const Trap& trap : kTraps) {
    for (const Writer& writer : kWriters) {
      SCOPED_TRACE(writer.name + " meets a " + trap.name);
      const ScopedEnvironment environment;
      const fs::path stage = environment.folder() / "stage";
      MakeTree(stage, {"safe/victim=precious", "shared/"});
      MakeTree(environment.folder(),
               {"root/Users/Shared/Library/Preferences/com.orviktech.Registry.plist="
                "<plist version=\"1.0\"><dict/></plist>"});
      MakeTree(stage, trap.entries);
      ASSERT_EQ(chmod((stage / "shared").c_str(), 01777), 0);
      ASSERT_EQ(lchown((stage / trap.obstacle).c_str(), kOther, kOther), 0);
      if (fs::is_regular_file(fs::symlink_status(stage / trap.obstacle))) {
        ASSERT_EQ(chmod((stage / trap.obstacle).c_str(), 0666), 0);
      }
      const Words before = TreeIn(stage);
      const CommandResult run = RunChild([&] {
        alarm(20);  // a pipe waits for a reader
        return writer.write(stage / trap.path) ? 0 : 1;
      });
      const bool is_left_alone = writer.keeps_existing && trap.path != "shared/way/free";
      EXPECT_EQ(run.status, is_left_alone ? 0 : 1) << run.err;
      EXPECT_EQ(TreeIn(stage), before);
      if (writer.name == "export") {
        EXPECT_TRUE(Contains(run.err, (stage / trap.obstacle).string()));
      }
    }
  }
}

}  // namespace
}  // namespace orvik::test
