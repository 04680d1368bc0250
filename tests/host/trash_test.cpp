#include "host/trash.h"

#include <chrono>
#include <ctime>
#include <fstream>

#include "tests/support/file_trees.h"

namespace orvik::test {
namespace {

using namespace host;

class TrashTest : public EnvironmentTest {
 protected:
  // The info file of "x" when it was moved from `source`.
  std::string InfoOf(const std::string& source) const {
    TrashInfo info;
    EXPECT_EQ(info.Write(source, files_ + "/x"), 0) << source;
    return ReadFile(fs::path(files_).parent_path() / "info/x.trashinfo");
  }

  fs::path home_trash_ = env_.home() / ".local/share/Trash";
  std::string files_;
};

class OpenTrashTest : public TrashTest {
 protected:
  OpenTrashTest() {
    EXPECT_EQ(OpenHomeTrash(true, &files_), 0);
    target_ = files_ + "/x";
  }

  std::string target_;
};

TEST_F(TrashTest, TheHomeTrashIsMadeOnDemand) {
  EXPECT_EQ(OpenHomeTrash(false, &files_), ENOENT);
  EXPECT_FALSE(fs::exists(home_trash_));
  for (const bool makes : {true, false}) {
    ASSERT_EQ(OpenHomeTrash(makes, &files_), 0);
    EXPECT_EQ(files_, home_trash_ / "files");
  }
  EXPECT_EQ(ModeOf(home_trash_), 0700u);
  EXPECT_TRUE(fs::is_directory(home_trash_ / "info"));
  const ScopedVariable relative("XDG_DATA_HOME", "data");
  EXPECT_EQ(HomeTrash(), home_trash_);
  const ScopedVariable data("XDG_DATA_HOME", (top_ / "data").string());
  fs::create_directories(top_ / "data");
  ASSERT_EQ(OpenHomeTrash(true, &files_), 0);
  EXPECT_EQ(files_, top_ / "data/Trash/files");
}

// The fuzz target trash_info tests any path and name, and which info files stay.
TEST_F(OpenTrashTest, InfoFilesSayWhereThingsCameFrom) {
  const std::string text = InfoOf("/some where/caf\xC3\xA9%[\n].txt");
  EXPECT_TRUE(
      text.starts_with("[Trash Info]\nPath=/some%20where/caf%C3%A9%25%5B%0A%5D.txt\nDeletionDate="))
      << text;
  {
    const FileSizeLimit limit(5);
    TrashInfo cut;
    EXPECT_EQ(cut.Write("/x", target_), EFBIG);
    EXPECT_TRUE(fs::is_empty(home_trash_ / "info"));
  }
  // Folders that only look like a trash get no info file.
  Plant(top_, "Trash/files/ Trash/info/");
  TrashInfo none;
  EXPECT_EQ(none.Write("/x", (top_ / "Trash/files/x").string()), 0);
  EXPECT_TRUE(fs::is_empty(top_ / "Trash/info"));
}

TEST_F(OpenTrashTest, PathsAreAbsoluteAndWithoutDots) {
  Plant(top_, "d/e/ link->d/e");
  const std::string top = fs::canonical(top_).string();
  const fs::path old = fs::current_path();
  fs::current_path(top_);
  const std::pair<std::string, const char*> cases[] = {{top + "/d/./e/../x", "/d/x"},
                                                       {"d//e/x", "/d/e/x"},
                                                       {"./x", "/x"},
                                                       {top + "/link/../x", "/d/x"}};
  for (const auto& [source, expected] : cases) {
    EXPECT_TRUE(Contains(InfoOf(source), "\nPath=" + top + expected + "\n")) << source;
  }
  fs::current_path(old);
}

TEST_F(OpenTrashTest, DatesFollowAZoneThatChanges) {
  const auto date_in = [this](const char* name) {
    const ScopedVariable zone("TZ", name);
    const std::string text = InfoOf("/x");
    std::tm date = {};
    strptime(text.c_str() + text.find("Date=") + 5, "%Y-%m-%dT%H:%M:%S", &date);
    return timegm(&date);
  };
  const std::time_t there = date_in("EST-9"), here = date_in("UTC0");
  tzset();
  EXPECT_NEAR(difftime(there, here), 9 * 3600, 60);
}

// Each new line replaces the file, so that a reader of the old file sees the old lines. Lines of
// missing folders are removed when the size has doubled.
TEST_F(OpenTrashTest, FoldersAreEnteredWithTheirSize) {
  const fs::path sizes = home_trash_ / "directorysizes";
  const auto keep = [this](const std::string& name) {
    TrashInfo info;
    ASSERT_EQ(info.Write("/" + name, files_ + "/" + name), 0);
    info.Commit();
  };
  MakeTree(files_, {"a b/sub/file=" + std::string(100'000, 'x'), "plain"});
  keep("plain");
  EXPECT_FALSE(fs::exists(sizes));
  keep("a b");
  const std::string old_lines = ReadFile(sizes);
  long long size = 0, time = 0;
  char name[32] = {};
  ASSERT_EQ(sscanf(old_lines.c_str(), "%lld %lld %31s\n", &size, &time, name), 3) << old_lines;
  EXPECT_STREQ(name, "a%20b");
  EXPECT_TRUE(size >= 100'000 && size < 200'000) << size;
  EXPECT_NEAR(static_cast<double>(time), static_cast<double>(std::time(nullptr)), 60);
  fs::remove_all(fs::path(files_) / "a b");
  WriteFile(sizes, old_lines + "1 2 unfinished");
  std::ifstream opened_before(sizes);
  constexpr int kFolders = 200;
  for (int i = 0; i < kFolders; ++i) {
    fs::create_directory(fs::path(files_) / std::to_string(i));
    keep(std::to_string(i));
  }
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(opened_before), {}),
            old_lines + "1 2 unfinished");
  const std::string text = ReadFile(sizes);
  EXPECT_TRUE(text.find("a%20b") == text.npos && text.find("unfinished") == text.npos);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kFolders);
  fs::resize_file(sizes, 17 << 20);  // more than is read
  fs::create_directory(fs::path(files_) / "last");
  keep("last");
  EXPECT_TRUE(ReadFile(sizes).ends_with(" last\n") && fs::file_size(sizes) < 100);
}

TEST_F(OpenTrashTest, AnInfoFileWithoutItemKeepsItsNameForADay) {
  const fs::path left = home_trash_ / "info/x.trashinfo";
  WriteFile(left, "[Trash Info]\nPath=/left\n");
  TrashInfo info;
  EXPECT_EQ(info.Write("/new", target_), EEXIST);
  fs::last_write_time(left, fs::file_time_type::clock::now() - std::chrono::hours(25));
  WriteFile(target_, "its file");
  EXPECT_EQ(info.Write("/new", target_), EEXIST);
  fs::remove(target_);
  EXPECT_EQ(info.Write("/new", target_), 0);
  EXPECT_TRUE(Contains(ReadFile(left), "Path=/new\n"));
}

TEST_F(TrashTest, AHomeTrashThatCannotBeUsedIsRefused) {
  WriteFile(home_trash_, "a file");
  EXPECT_NE(OpenHomeTrash(true, &files_), 0);
  fs::remove(home_trash_);
  fs::create_directories(top_ / "elsewhere");
  fs::create_directory_symlink(top_ / "elsewhere", home_trash_);
  EXPECT_EQ(OpenHomeTrash(true, &files_), 0);
  TrashInfo info;
  EXPECT_EQ(info.Write("/x", (home_trash_ / "files/x").string()), 0);
  EXPECT_TRUE(fs::exists(env_.temp() / "elsewhere/info/x.trashinfo"));
}

TEST_F(TrashTest, OtherVolumesHaveTheirOwn) {
  const fs::path top = env_.temp() / "a volume";
  fs::create_directory(top);
  const std::string user = std::to_string(getuid());
  const auto open = [&] {
    EXPECT_EQ(OpenVolumeTrash(top.string(), true, &files_), 0);
    return fs::path(files_);
  };
  fs::permissions(top, fs::perms(01777));
  EXPECT_EQ(open(), top / (".Trash-" + user) / "files");
  fs::create_directories(top / "d/e");
  for (const auto& [source, expected] :
       {std::pair(top / "./d/../d/e/.././x", std::string("d/x")),
        {top_ / "outside", fs::canonical(top_).string() + "/outside"}}) {
    EXPECT_TRUE(Contains(InfoOf(source), "\nPath=" + expected + "\n"));
  }
  // An administrator's trash is preferred, but only if it is a sticky folder and not a link.
  fs::create_directory(top / ".Trash");
  EXPECT_EQ(open(), top / (".Trash-" + user) / "files");
  fs::permissions(top / ".Trash", fs::perms::all | fs::perms::sticky_bit);
  EXPECT_EQ(open(), top / ".Trash" / user / "files");
  // For root, another user could put a folder of their own under the name.
  constexpr uid_t kOther = 4711;
  if (chown((top / ".Trash").c_str(), kOther, 0) == 0) {
    EXPECT_EQ(open(), top / (".Trash-" + user) / "files");
    ASSERT_EQ(chown(top.c_str(), kOther, 0), 0);
    EXPECT_EQ(OpenVolumeTrash(top.string(), true, &files_), EACCES);
    ASSERT_EQ(chown(top.c_str(), geteuid(), 0), 0);
  }
  fs::remove_all(top / ".Trash");
  fs::create_directory_symlink(env_.temp(), top / ".Trash");
  EXPECT_EQ(open(), top / (".Trash-" + user) / "files");
  fs::permissions(top, fs::perms(0777));
  EXPECT_EQ(OpenVolumeTrash(top.string(), true, &files_), geteuid() == 0 ? EACCES : 0);
}

}  // namespace
}  // namespace orvik::test
