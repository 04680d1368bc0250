#include "plist/file.h"

#include "plist/forms.h"

#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"
#include "tests/support/without_root_rights.h"

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

TEST_F(PlistFileTest, OnlyAFileThatDoesNotExistIsMissing) {
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
    EXPECT_TRUE(error == 0 || file.KeepAside() == error);
  }
  // Reading makes no files or folders.
  fs::remove_all(file_.parent_path());
  plist::File(file_).Read();
  EXPECT_EQ(NamesIn(top_), std::vector<std::string>{"other"});
}

TEST_F(PlistFileTest, PreferencesLieBelowTheHomeOrTheSystemRootAndDomainsThatNameNoFileAreRefused) {
  using plist::PreferenceFile, plist::PreferenceFolder;
  const std::string home = env_.home(), root = env_.system_root(), folder = "/Library/Preferences/";
  EXPECT_EQ(PreferenceFile(PreferenceFolder::kUser, u"a/b..c"), home + folder + "a/b..c.plist");
  EXPECT_EQ(PreferenceFile(PreferenceFolder::kMachine, u".d"), root + folder + ".d.plist");
  EXPECT_EQ(PreferenceFile(PreferenceFolder::kShared, u"d"),
            root + "/Users/Shared" + folder + "d.plist");
  const ScopedVariable no_root("ORVIK_SYSTEM_ROOT", nullptr);
  EXPECT_EQ(PreferenceFile(PreferenceFolder::kMachine, u"d"), folder + "d.plist");
  const auto is_usable = [](const std::u16string& domain) {
    return !PreferenceFile(PreferenceFolder::kUser, domain).empty();
  };
  const auto x = [](std::size_t count) { return std::u16string(count, u'x'); };
  // 1023 bytes in components of 200.
  const std::u16string longest =
      x(200) + u"/" + x(200) + u"/" + x(200) + u"/" + x(200) + u"/" + x(200);
  for (const std::u16string& domain :
       {x(243), x(243) + u".lock", x(243) + u"/y", longest + x(19)}) {
    EXPECT_TRUE(is_usable(domain)) << testing::PrintToString(domain);
  }
  for (const std::u16string& domain :
       {x(0), x(244), x(244) + u".lock", x(244) + u"/y", x(243) + u".lock/y", u"a/" + x(244),
        longest + x(20), std::u16string(122, u'\u00e9'), std::u16string(u"/etc/x"),
        std::u16string(u"."), std::u16string(u".."), std::u16string(u"../x"),
        std::u16string(u"a/./x"), std::u16string(u"a//b"), std::u16string(u"a/"),
        std::u16string(u"a\0b", 3), std::u16string{0xD800}, std::u16string(u"a\xdc80"),
        std::u16string(u"a\\b")}) {
    EXPECT_FALSE(is_usable(domain)) << testing::PrintToString(domain);
  }
}

// The result of Read under the lock, and how often it waits for a file that may still be written.
TEST_F(PlistFileTest, ADamagedFileIsReadAgainWhileItMayStillBeWritten) {
  const struct {
    const char* title;
    int age;  // seconds since it was written; negative, so that a slow test still passes
    std::function<void(int)> write;  // during each wait
    int waits;
    Contents contents;
  } kCases[] = {
      {"whole at last", -30,
       [&](int wait) { WriteFile(file_, wait < 70 ? std::string(wait, '<') : "{}"); }, 70,
       Contents::kEntries},
      {"quiet for a second", -30, [](int) {}, 50, Contents::kDamaged},
      {"quiet for a second at last", -30,
       [&](int wait) {
         if (wait == 30) WriteFile(file_, "<<");
       },
       80, Contents::kDamaged},
      {"written for ever", -30, [&](int wait) { WriteFile(file_, std::string(wait, '<')); }, 250,
       Contents::kDamaged},
      {"removed", -30,
       [&](int wait) {
         if (wait == 3) fs::remove(file_);
       },
       3, Contents::kMissing},
      {"old", 2, [](int) {}, 0, Contents::kDamaged},
      {"of a clock that is far ahead", -70, [](int) {}, 0, Contents::kDamaged}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.title);
    int waits = 0;
    const plist::FileWriterWait old_wait = plist::ExchangeFileWriterWait([&] { c.write(++waits); });
    WriteFile(file_, "<");
    fs::last_write_time(file_, fs::file_time_type::clock::now() - std::chrono::seconds(c.age));
    EXPECT_EQ(plist::File(file_).Read(), Contents::kDamaged);
    EXPECT_EQ(waits, 0);
    plist::File file(file_);
    ASSERT_EQ(file.Lock(Folder::kFind), 0);
    EXPECT_EQ(file.Read(), c.contents);
    EXPECT_EQ(waits, c.waits);
    plist::ExchangeFileWriterWait(old_wait);
  }
}

TEST_F(PlistFileTest, SavesOnlyUnderTheLockWhatAListCanHold) {
  const plist::Value entries = plist::Value::Dictionary({{u"k", u"v"}});
  plist::File file(file_);
  file.Read();
  EXPECT_EQ(file.Lock(Folder::kFind), ENOENT);
  EXPECT_EQ(file.Save(entries), ENOENT);
  EXPECT_FALSE(fs::exists(file_.parent_path()));
  EXPECT_EQ(plist::File("").Lock(Folder::kMake), EINVAL);
  EXPECT_EQ(plist::File("").Read(), Contents::kMissing);
  ASSERT_EQ(file.Lock(Folder::kMake), 0);
  EXPECT_EQ(file.Save(plist::Value()), EINVAL);
  EXPECT_EQ(file.Read(), Contents::kMissing);
  EXPECT_EQ(file.Save(entries), 0);
  EXPECT_TRUE(file.wrote());
  EXPECT_EQ(host::IdentityOf(file_.string()), file.identity());
  // The same bytes are not written again. A file that was made meanwhile stays.
  plist::File same(file_);
  ASSERT_EQ(same.Lock(Folder::kFind), 0);
  EXPECT_EQ(same.Read(), Contents::kEntries);
  EXPECT_EQ(same.Save(entries), 0);
  EXPECT_FALSE(same.wrote());
  const plist::Value other = plist::Value::Dictionary({{u"k", 1}});
  int tries = 0;
  EXPECT_EQ(plist::RepeatWhileMade([&] {
              fs::remove(file_);
              same.Read();
              WriteFile(file_, "{}");
              ++tries;
              return same.Save(other);
            }),
            EEXIST);
  EXPECT_EQ(tries, 8);
  WriteFile(top_ / "another", "x");
  EXPECT_EQ(same.Remove(host::IdentityOf((top_ / "another").string())), ENOENT);
  EXPECT_EQ(same.Remove(host::IdentityOf(file_.string())), 0);
  EXPECT_FALSE(fs::exists(file_));
  same.Unlock();
  EXPECT_EQ(same.Save(entries), EINVAL);
}

TEST_F(PlistFileTest, SavingInPlaceKeepsTheFileAndItsSize) {
  const auto entries = [](std::size_t size) {
    return plist::Value::Dictionary({{u"k", std::u16string(size, u'x')}});
  };
  const auto inode = [&] { return StatOf(file_).st_ino; };
  plist::File file(file_, host::Flush::kNone, plist::File::Saving::kInPlace);
  ASSERT_EQ(file.Lock(Folder::kMake), 0);
  file.Read();
  EXPECT_EQ(file.SaveInPlace(entries(1)), 0);
  EXPECT_EQ(fs::file_size(file_), 512u);
  const fs::path held = top_ / "held";  // so that the inode is not used again
  fs::create_hard_link(file_, held);
  const auto first = inode();
  fs::remove(held);
  for (const std::size_t size : {2u, 1u}) {
    EXPECT_EQ(file.SaveInPlace(entries(size)), 0);
    EXPECT_TRUE(file.wrote());
    EXPECT_EQ(inode(), first);
    EXPECT_EQ(fs::file_size(file_), 512u);
    EXPECT_EQ(plist::Read(ReadFile(file_)).root, entries(size));
  }
  EXPECT_EQ(file.SaveInPlace(entries(1000)), 0);
  EXPECT_EQ(plist::Read(ReadFile(file_)).root, entries(1000));
  EXPECT_EQ(file.SaveInPlace(plist::Value()), EINVAL);
  // A file that was replaced meanwhile is not written.
  WriteFile(file_.string() + ".new", "{new;}");
  fs::rename(file_.string() + ".new", file_);
  EXPECT_EQ(file.SaveInPlace(entries(2)), ENOENT);
  EXPECT_EQ(ReadFile(file_), "{new;}");
  // A file of another program is written in place, and a link is not followed.
  plist::File another(file_, host::Flush::kNone, plist::File::Saving::kInPlace);
  file.Unlock();
  EXPECT_FALSE(file.is_locked());
  ASSERT_EQ(another.Lock(Folder::kFind), 0);
  WriteFile(file_, "{k = " + std::string(2000, 'y') + ";}");
  const auto present = inode();
  EXPECT_EQ(another.Read(), Contents::kEntries);
  EXPECT_EQ(another.SaveInPlace(entries(1)), 0);
  EXPECT_TRUE(inode() == present && fs::file_size(file_) == 2007);
  fs::rename(file_, top_ / "target");
  fs::create_symlink(top_ / "target", file_);
  EXPECT_EQ(another.Read(), Contents::kUnreadable);
  EXPECT_EQ(another.error(), ELOOP);
}

TEST_F(PlistFileTest, AFileThatMayNotBeReadIsKeptAsideAndSuperseded) {
  Save(file_);
  fs::permissions(file_, fs::perms::none);
  const WithoutRootRights without(env_.folder());
  for (const bool saves : {false, true}) {
    plist::File file(file_);
    ASSERT_EQ(file.Lock(Folder::kFind), 0);
    EXPECT_EQ(file.Read(), Contents::kUnreadable);
    EXPECT_EQ(file.Save(plist::Value::Dictionary()), EACCES);
    EXPECT_EQ(file.KeepAside(), 0);
    EXPECT_EQ(saves ? file.Save(plist::Value::Dictionary()) : 0, 0);
  }
  EXPECT_EQ(plist::File(file_).Read(), Contents::kEntries);
  EXPECT_EQ(ModeOf(file_.string() + ".damaged"), 0u);
  // A read-only file can be read.
  fs::permissions(file_, fs::perms::owner_read);
  plist::File file(file_);
  ASSERT_EQ(file.Lock(Folder::kFind), 0);
  EXPECT_EQ(file.Read(), Contents::kEntries);
}

TEST_F(PlistFileTest, ADamagedFileIsKeptBesideTheOneThatReplacesIt) {
  const plist::FileWriterWait old_wait = plist::ExchangeFileWriterWait([] {});
  const plist::KeptAsideFiles outer;
  std::optional<plist::KeptAsideFiles> inner(std::in_place);
  for (const char* kept : {".damaged", ".damaged-2"}) {
    const std::string damaged = std::string("<plist><dict><key>half") + kept;
    for (int turn = 0; turn < 2; ++turn) {  // the second time a copy exists
      WriteFile(file_, damaged);
      plist::File file(file_);
      ASSERT_EQ(file.Lock(Folder::kFind), 0);
      EXPECT_EQ(file.Read(), Contents::kDamaged);
      EXPECT_EQ(file.KeepAside(), 0);
      EXPECT_EQ(file.kept_path(), file_.string() + kept);
      EXPECT_EQ(file.Save(plist::Value::Dictionary()), 0);
      EXPECT_EQ(ReadFile(file_.string() + kept), damaged);
      EXPECT_EQ((inner ? *inner : outer).files().back().kept_path, file_.string() + kept);
    }
    EXPECT_EQ((inner ? *inner : outer).files().size(), 2u);
    inner.reset();
  }
  // Without a save, the copy is removed.
  WriteFile(file_, "<<");
  {
    plist::File file(file_);
    EXPECT_TRUE(file.Lock(Folder::kFind) == 0 && file.Read() == Contents::kDamaged &&
                file.KeepAside() == 0);
    EXPECT_TRUE(fs::exists(file_.string() + ".damaged-3"));
  }
  EXPECT_EQ(outer.files().size(), 2u);
  EXPECT_FALSE(fs::exists(file_.string() + ".damaged-3"));
  plist::ExchangeFileWriterWait(old_wait);
}

TEST_F(PlistFileTest, ALockIsWaitedForAndOneThatIsALinkIsRefused) {
  Save(file_);
  const fs::path lock_file = file_.parent_path() / ".orvik.lock";
  std::optional<plist::File> held;
  OtherProcess writer([&] {
    held.emplace(file_.string());
    EXPECT_TRUE(held->Lock(Folder::kFind) == 0 && held->Read() == Contents::kEntries);
  });
  plist::File file(file_), other(file_);
  EXPECT_EQ(file.Lock(Folder::kFind, 10), EWOULDBLOCK);
  EXPECT_FALSE(file.is_locked() || file.is_lock_refused());
  // Without the lock file, the lock of the content still holds.
  fs::remove(lock_file);
  EXPECT_EQ(other.Lock(Folder::kFind, 10), 0);
  EXPECT_EQ(other.Read(), Contents::kUnreadable);
  EXPECT_EQ(other.error(), EWOULDBLOCK);
  EXPECT_EQ(plist::File(file_).Read(), Contents::kEntries);
  writer.End();
  EXPECT_EQ(other.Read(), Contents::kEntries);
  other.Unlock();
  fs::remove(lock_file);
  fs::create_symlink("elsewhere", lock_file);
  EXPECT_EQ(file.Lock(Folder::kFind), EINVAL);
  EXPECT_TRUE(file.is_lock_refused());
  EXPECT_EQ(file.obstacle(), lock_file);
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
    // Only the owner can change names in this folder.
    EXPECT_EQ(host::FindPlace(file_, host::Links::kTrusted).error, 0);
    ASSERT_EQ(chmod(link.parent_path().c_str(), 01777), 0);
    plist::File file(file_);
    EXPECT_EQ(file.Lock(Folder::kMake), EPERM);
    EXPECT_EQ(file.obstacle(), link);
    EXPECT_EQ(Save(file_), EPERM);
    EXPECT_EQ(TreeIn(top_ / "elsewhere"), std::vector<std::string>{"victim=precious"});
  }
}

TEST_F(PlistFileTest, NewFilesFollowTheirFolder) {
  fs::create_directories(top_ / "shared");
  // Several users share the group, as in docs/prefs.md.
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
  // A file that root makes in another user's folder gets that user as its owner.
  fs::create_directories(top_ / "home");
  ASSERT_EQ(chown((top_ / "home").c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(Save(top_ / "home" / "Library" / "file.plist"), 0);
  for (const char* made : {"home/Library", "home/Library/file.plist", "home/Library/.orvik.lock"}) {
    EXPECT_EQ(StatOf(top_ / made).st_uid, kNobody) << made;
  }
}

}  // namespace
}  // namespace orvik::test
