#include "plist/file.h"

#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

constexpr uid_t kNobody = 65534;

class PlistFileTest : public EnvironmentTest {
 protected:
  using Contents = plist::File::Contents;
  using Folder = plist::File::Folder;

  static int Save(const fs::path& path) {
    plist::File file(path);
    if (const int error = file.Lock(Folder::kMake)) return error;
    file.Read();
    plist::Value entries = plist::Value::Dictionary();
    entries.Set(u"k", u"v");
    return file.Save(entries);
  }

  const fs::path file_ = top_ / "folder" / "file.plist";
};

TEST_F(PlistFileTest, OnlyWhatDoesNotExistIsMissing) {
  const struct {
    const char *title, *entry;  // below the top folder
    int error;                  // 0: missing
  } kCases[] = {{"no folder", "other", 0},
                {"no file", "folder/", 0},
                {"dangling link", "folder/file.plist->none", 0},
                {"a file in place of the folder", "folder", ENOTDIR},
                {"loop of links", "folder/file.plist->file.plist", ELOOP},
                {"folder", "folder/file.plist/", EISDIR},
                {"pipe", "folder/file.plist|", EINVAL},
                {"a tebibyte", "folder/file.plist", EFBIG}};
  for (const auto& [title, entry, error] : kCases) {
    SCOPED_TRACE(title);
    fs::remove_all(file_.parent_path());
    MakeTree(top_, {entry});
    if (error == EFBIG) fs::resize_file(file_, std::uintmax_t{1} << 40);
    plist::File file(file_);
    EXPECT_EQ(file.Read(), error == 0 ? Contents::kMissing : Contents::kUnreadable);
    EXPECT_TRUE(error == 0 || file.error() == error) << file.error();
  }
  // Reading has made nothing.
  fs::remove_all(file_.parent_path());
  plist::File(file_).Read();
  EXPECT_EQ(NamesIn(top_), std::vector<std::string>{"other"});
}

TEST_F(PlistFileTest, ADamagedFileIsKeptBesideTheOneThatReplacesIt) {
  const plist::FileWriterWait old_wait = plist::ExchangeFileWriterWait([] {});
  for (const char* kept : {".damaged", ".damaged-2"}) {
    const std::string damaged = std::string("<plist><dict><key>half") + kept;
    for (int turn = 0; turn < 2; ++turn) {  // the second time there is a copy already
      WriteFile(file_, damaged);
      plist::File file(file_);
      ASSERT_EQ(file.Lock(Folder::kFind), 0);
      EXPECT_EQ(file.Read(), Contents::kDamaged);
      EXPECT_EQ(file.KeepAside(), 0);
      EXPECT_EQ(file.kept_path(), file_.string() + kept);
      EXPECT_EQ(file.Save(plist::Value::Dictionary()), 0);
      EXPECT_EQ(ReadFile(file_.string() + kept), damaged);
    }
  }
  EXPECT_FALSE(fs::exists(file_.string() + ".damaged-3"));
  plist::ExchangeFileWriterWait(old_wait);
}

TEST_F(PlistFileTest, FollowsLinksOfTheCallerAndNoOthers) {
  MakeTree(top_, {"folder/file.plist->../target.plist"});
  EXPECT_EQ(Save(file_), 0);
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_TRUE(Contains(ReadFile(top_ / "target.plist"), "<key>k</key>"));
  if (geteuid() != 0) return;

  for (const fs::path& link : {file_, file_.parent_path()}) {
    SCOPED_TRACE(link);
    fs::remove_all(file_.parent_path());
    MakeTree(top_,
             {"elsewhere/victim=precious",
              link == file_ ? "folder/file.plist->../elsewhere/victim" : "folder->elsewhere"});
    ASSERT_EQ(lchown(link.c_str(), kNobody, kNobody), 0);
    // No other user can have changed the name.
    EXPECT_EQ(host::FindPlace(file_, host::Links::kTrusted).error, 0);
    ASSERT_EQ(chmod(link.parent_path().c_str(), 01777), 0);
    plist::File file(file_);
    EXPECT_EQ(file.Lock(Folder::kMake), EPERM);
    EXPECT_EQ(file.obstacle(), link);
    EXPECT_EQ(Save(file_), EPERM);
    EXPECT_EQ(TreeIn(top_ / "elsewhere"), std::vector<std::string>{"victim=precious"});
  }
}

TEST_F(PlistFileTest, WhatIsMadeFollowsItsFolder) {
  fs::create_directories(top_ / "shared");
  // The group is that of several users, as docs/prefs.md sets them up.
  EXPECT_TRUE(geteuid() != 0 || chown((top_ / "shared").c_str(), 0, kNobody) == 0);
  ASSERT_EQ(chmod((top_ / "shared").c_str(), 02775), 0);
  for (const mode_t mask : {022, 027, 077}) {
    SCOPED_TRACE(mask);
    fs::remove_all(top_ / "shared/sub");
    const mode_t old_mask = umask(mask);
    EXPECT_EQ(Save(top_ / "shared" / "sub" / "file.plist"), 0);
    umask(old_mask);
    EXPECT_EQ(ModeOf(top_ / "shared/sub"), 02775u);
    EXPECT_EQ(ModeOf(top_ / "shared/sub/file.plist"), 0664u);
    EXPECT_EQ(StatOf(top_ / "shared/sub/file.plist").st_gid, StatOf(top_ / "shared").st_gid);
    EXPECT_EQ(ModeOf(top_ / "shared/sub/.orvik.lock"), 0660u);
    EXPECT_EQ(NamesIn(top_ / "shared"), std::vector<std::string>{"sub"});
  }
  if (geteuid() != 0) return;
  // A file that root makes in another user's folder is that user's.
  fs::create_directories(top_ / "home");
  ASSERT_EQ(chown((top_ / "home").c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(Save(top_ / "home" / "Library" / "file.plist"), 0);
  for (const char* made : {"home/Library", "home/Library/file.plist", "home/Library/.orvik.lock"}) {
    EXPECT_EQ(StatOf(top_ / made).st_uid, kNobody) << made;
  }
}

}  // namespace
}  // namespace orvik::test
