// The machine's folders, names on disk, texts of the kernel, and watches.
#include "host/system.h"
#include "host/file_names.h"
#include "host/file_place.h"
#include "host/file_watch.h"
#include "host/paths.h"
#include "host/private_files.h"
#include "host/proc.h"
#include "host/trash.h"
#include "host/trust.h"
#include "tests/support/file_trees.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using namespace host;

using SystemRootTest = EnvironmentTest;

TEST_F(SystemRootTest, MovesThePathsOfTheSystemVolume) {
  const std::string root = env_.system_root().string();
  setenv("ORVIK_SYSTEM_ROOT", (root + "//").c_str(), 1);
  EXPECT_EQ(SystemRoot(), root);
  EXPECT_EQ(SystemPath("/Users/Shared"), root + "/Users/Shared");
  const std::pair<std::string, std::string> cases[] = {
      {"/Library/Receipts/x", root + "/Library/Receipts/x"},
      {"/Users/Shared", root + "/Users/Shared"},
      {"/Librarys/x", "/Librarys/x"},
      {"/tmp/Library", "/tmp/Library"},
      {"Library/x", "Library/x"},
      {root + "/Library/x", root + "/Library/x"}};
  for (const auto& [path, resolved] : cases) EXPECT_EQ(ResolvePath(path), resolved);
  setenv("ORVIK_SYSTEM_ROOT", "relative/", 1);
  EXPECT_EQ(SystemRoot(), (fs::current_path() / "relative").string());
  for (const char* value : {"", "/"}) {
    setenv("ORVIK_SYSTEM_ROOT", value, 1);
    EXPECT_EQ(SystemRoot(), "");
    EXPECT_EQ(ResolvePath("/Library/x"), "/Library/x");
  }
}

TEST_F(SystemRootTest, FindsHomeAndTemporaryFolder) {
  EXPECT_EQ(HomeFolder(), env_.home().string());
  EXPECT_EQ(TemporaryFolder(), env_.temp().string());
  EXPECT_EQ(OwnHomeFolder(), env_.home().string());
  // Root keeps no files of its own in the home of another user, nor below a missing folder there.
  if (geteuid() == 0) {
    ASSERT_EQ(chown(env_.home().c_str(), 30002, 30002), 0);
    for (const std::string& home : {env_.home().string(), env_.home().string() + "/missing"}) {
      setenv("HOME", home.c_str(), 1);
      setenv("XDG_DATA_HOME", home.c_str(), 1);
      EXPECT_EQ(HomeFolder(), home);
      EXPECT_EQ(OwnHomeFolder(), FindUser(0)->home);
      EXPECT_EQ(HomeTrash(), FindUser(0)->home + "/.local/share/Trash");
    }
    unsetenv("XDG_DATA_HOME");
  }
  unsetenv("HOME");
  unsetenv("TMPDIR");
  EXPECT_TRUE(HomeFolder().starts_with('/'));
  EXPECT_EQ(TemporaryFolder(), "/tmp");
}

TEST_F(SystemRootTest, MakesFoldersWithTheirParents) {
  const auto folder = env_.folder() / "a" / "b" / "c";
  EXPECT_EQ(MakeFolders(folder), 0);
  EXPECT_EQ(MakeFolders(folder), 0);
  EXPECT_TRUE(fs::is_directory(folder));
  WriteFile(folder / "file", "");
  EXPECT_EQ(MakeFolders(folder / "file"), ENOTDIR);
  EXPECT_EQ(MakeFolders(folder / "file" / "d"), ENOTDIR);
}

// fuzz/kernel_texts_fuzzer.cpp has the kernel's own texts; these are cut or lack a field.
TEST(KernelTexts, GiveNothingForMissingFields) {
  for (const char* cut : {"77 (sh) S 1 77", "77 (sh"}) EXPECT_EQ(StartTimeIn(cut), std::nullopt);
  EXPECT_EQ(StatusFieldIn("Name:\tTgid:\nTgid:\t77\nPid:\t78\n", "Tgid"), "77");
  EXPECT_EQ(StatusFieldIn("Name:\ta\nTgid 77\n", "Tgid"), "");
}

TEST(Processes, AreDescribedWhileTheyRun) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  OtherProcess other;
  for (const pid_t pid : {getpid(), other.pid()}) {
    EXPECT_EQ(ProgramNameOf(pid), fs::read_symlink("/proc/self/exe").filename());
    const auto owner = FindProcessOwner(pid);
    ASSERT_TRUE(owner);
    EXPECT_EQ(owner->user, FindUser(geteuid())->name);
    EXPECT_LE(std::abs(owner->since - std::time(nullptr)), 3600);
  }
  const std::int64_t start = StartTime(other.pid()).value_or(0);
  EXPECT_LT(std::abs(start - std::chrono::nanoseconds(now).count()), 2'000'000'000);
  other.Kill();  // a zombie
  EXPECT_EQ(StartTicks(other.pid()), std::nullopt);
  for (const pid_t pid : {-1, 0}) EXPECT_FALSE(StartTicks(pid) || FindProcessOwner(pid));
  EXPECT_EQ(ProgramNameOf(-1), "");
  std::vector<std::string> given = testing::internal::GetArgvs();
  given.erase(given.begin());
  EXPECT_EQ(ProgramArguments(), given);
  const auto run = RunChild([] {
    const char* const arguments[] = {"program", "one", ""};
    SetProgramArguments(3, arguments);
    return ProgramArguments() == std::vector<std::string>{"one", ""} ? 0 : 1;
  });
  EXPECT_EQ(run.status, 0);
}

using PrivateFileTest = EnvironmentTest;

TEST_F(PrivateFileTest, AreTheCallersAloneAndWhole) {
  std::string path, content;
  const Descriptor made = MakePrivateFolder(At("new-"), &path);
  ASSERT_TRUE(made);
  EXPECT_TRUE(path.starts_with(At("new-").string()));
  EXPECT_EQ(ModeOf(path), 0700u);
  EXPECT_FALSE(MakePrivateFolder(At("none/new-"), &path));
  const char* const names[] = {"a", "b"};
  const std::string base = top_.string();
  EXPECT_FALSE(OpenPrivateFolder(base, names, false));
  EXPECT_EQ(errno, ENOENT);
  for (int time = 0; time < 2; ++time) EXPECT_TRUE(OpenPrivateFolder(base, names, true));
  EXPECT_EQ(ModeOf(top_ / "a") | ModeOf(top_ / "a/b"), 0700u);
  for (const auto& [mode, opens] : {std::pair(0710, false), {0701, false}, {0700, true}}) {
    chmod(At("a/b").c_str(), static_cast<mode_t>(mode));
    EXPECT_EQ(static_cast<bool>(OpenPrivateFolder(base, names, false)), opens) << mode;
  }
  fs::rename(top_ / "a/b", top_ / "a/c");
  fs::create_symlink("c", top_ / "a/b");
  EXPECT_FALSE(OpenPrivateFolder(base, names, true));
  fs::create_symlink("a", top_ / "link");
  const char* const through_link[] = {"link", "c"};
  EXPECT_EQ(static_cast<bool>(OpenPrivateFolder(base, through_link, true)), geteuid() != 0);

  const int folder = made.get();
  EXPECT_EQ(WritePrivateFile(folder, "file", "12345"), 0);
  EXPECT_EQ(WritePrivateFile(folder, "file", "other"), EEXIST);
  const fs::path file = fs::read_symlink(ProcPath(folder)) / "file";
  EXPECT_EQ(ModeOf(file), 0600u);
  fs::create_symlink("file", file.parent_path() / "link");
  const std::tuple<const char*, std::size_t, int, std::string> cases[] = {{"file", 5, 0, "12345"},
                                                                          {"file", 4, EFBIG, ""},
                                                                          {"link", 5, EPERM, ""},
                                                                          {"none", 5, ENOENT, ""}};
  for (const auto& [name, limit, error, text] : cases) {
    EXPECT_EQ(ReadPrivateFile(folder, name, limit, &content), error) << name;
    EXPECT_EQ(content, text) << name;
  }
  const FileSizeLimit limit(3);
  EXPECT_NE(WritePrivateFile(folder, "large", "12345"), 0);
  EXPECT_FALSE(Exists(file.parent_path() / "large"));
}

TEST_F(PrivateFileTest, EntriesAreRemovedWhenTheyAreTheKnownOnes) {
  Plant(top_, "file=x other=y link->file");
  const FilePlace entry = FindEntry(At("link"), Links::kAny),
                  file = FindPlace(At("link"), Links::kAny);
  struct stat attributes;
  EXPECT_EQ(StatEntry(entry, &attributes), 0);
  EXPECT_TRUE(S_ISLNK(attributes.st_mode));
  EXPECT_EQ(file.name, "file");
  EXPECT_EQ(RemoveEntry(file, IdentityOf(At("other"))), ENOENT);
  EXPECT_EQ(RemoveEntry(file, {}), ENOENT);
  EXPECT_EQ(RemoveEntry(file, IdentityOf(At("file"))), 0);
  EXPECT_EQ(TreeText(top_), "link->file other=y");
  const Descriptor opened(open(At("other").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(IsOpenAs(opened.get(), At("other")) && !IsOpenAs(opened.get(), At("none")) &&
              !IsOpenAs(opened.get(), At(".")));
}

constexpr char kComposed[] = "caf\xC3\xA9";
constexpr char kDecomposed[] = "cafe\xCC\x81";

class NameSpellingTest : public EnvironmentTest {
 protected:
  std::string Found(const fs::path& path) const { return PathOnDisk((top_ / path).string()); }
  std::string Made(const fs::path& path) const { return (top_ / path).string(); }
};

TEST_F(NameSpellingTest, TheExactNameThenTheSingleEqualOneInEveryComponent) {
  const std::string composed = kComposed, decomposed = kDecomposed;
  MakeTree(top_, {decomposed + "/" + decomposed});
  const std::pair<std::string, std::string> cases[] = {
      {composed + "/" + composed, decomposed + "/" + decomposed},
      {composed + "/missing", decomposed + "/missing"},
      {"missing/" + composed, "missing/" + composed},
      {composed + "/" + composed + "/below", decomposed + "/" + decomposed + "/below"}};
  for (const auto& [asked, found] : cases) EXPECT_EQ(Found(asked), Made(found));
  MakeTree(top_, {composed + "/y"});
  EXPECT_EQ(Found(composed + "/y"), Made(composed + "/y"));
  const fs::path old = fs::current_path();
  fs::current_path(top_ / decomposed);
  EXPECT_EQ(PathOnDisk(composed), decomposed);
  EXPECT_EQ(PathOnDisk("./" + composed), "./" + decomposed);
  fs::current_path(old);
}

TEST_F(NameSpellingTest, OfSeveralEqualOnesEachHasItsOwnNameOnly) {
  // Two marks on one letter have five spellings.
  const char* const names[] = {"a\xCC\xA3\xCC\x82", "\xE1\xBA\xA1\xCC\x82", "\xE1\xBA\xAD"};
  WriteFile(top_ / names[0], "1");
  EXPECT_EQ(Found(names[2]), Made(names[0]));
  WriteFile(top_ / names[1], "2");
  for (const char* name : names) EXPECT_EQ(Found(name), Made(name));
}

TEST_F(NameSpellingTest, NamesOfMoreSpellingsThanCanBeTriedAreFoundInTheFolder) {
  const std::string composed = Repeated("\xC3\xA9", 20), decomposed = Repeated("e\xCC\x81", 20);
  const std::string mixed = decomposed.substr(0, 3) + composed.substr(2);
  WriteFile(top_ / mixed, "x");
  EXPECT_EQ(Found(composed), Made(mixed));
  EXPECT_EQ(Found(decomposed), Made(mixed));
  WriteFile(top_ / composed, "x");
  EXPECT_EQ(Found(decomposed), Made(decomposed));
}

TEST_F(NameSpellingTest, PathsBeyondTheKernelsLimit) {
  fs::create_directories(top_ / kDecomposed);
  const std::string deep = MakeDeepTree(Made(kDecomposed), 100, std::string(60, 'n'));
  std::string asked = deep + "/leaf";
  asked.replace(Made("").size(), std::string(kDecomposed).size(), kComposed);
  EXPECT_EQ(PathOnDisk(asked), deep + "/leaf");
}

TEST(FileNames, AreUtf8AndEveryNameComesBack) {
  const std::string bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80/b";
  EXPECT_EQ(FileNameFromBytes(bytes), u"a\u00e9\u20ac\U0001F600/b");
  EXPECT_EQ(FileNameFromBytes("caf\xE9"), std::u16string(u"caf") + char16_t{0xDCE9});
  EXPECT_EQ(FileNameToBytes(std::u16string{0xD83D}), "\xED\xA0\xBD");
}

class FileWatchTest : public EnvironmentTest {
 protected:
  // Events take a moment to arrive; a test must not miss any.
  static constexpr int kSoon = 10'000;

  // Whether a change is reported. Waits until no more reports come for a moment.
  static bool Reports(FileWatch& watch) {
    const bool reported = watch.Wait(kSoon);
    while (watch.Wait(20)) {
    }
    return reported;
  }

  fs::path file_ = env_.folder() / "a" / "b" / "file";
};

TEST_F(FileWatchTest, FollowsAFileFromBeforeItsFoldersToAfterItsEnd) {
  FileWatch watch(file_);
  ASSERT_TRUE(watch.ok());
  EXPECT_FALSE(watch.Wait(0));
  const fs::path other = file_.parent_path() / "other";
  const auto expect_reports = [&] {
    for (const char* content : {"one", "two"}) {
      WriteFile(file_, content);
      EXPECT_TRUE(Reports(watch)) << content;
    }
  };
  expect_reports();
  WriteFile(other, "");
  EXPECT_FALSE(watch.Wait(20));
  fs::rename(other, file_);
  EXPECT_TRUE(Reports(watch));
  fs::remove_all(env_.folder() / "a");
  EXPECT_TRUE(Reports(watch));
  expect_reports();
  fs::rename(env_.folder() / "a", env_.folder() / "elsewhere");
  expect_reports();
}

TEST_F(FileWatchTest, FollowsTheTargetsOfLinks) {
  WriteFile(file_, "one");
  const fs::path link = At("link");
  fs::create_symlink("second", link);
  fs::create_symlink(file_, At("second"));
  FileWatch watch(link);
  WriteFile(file_, "two");
  EXPECT_TRUE(Reports(watch));
  fs::remove(link);
  fs::create_symlink("elsewhere", link);
  EXPECT_TRUE(Reports(watch));
  WriteFile(At("elsewhere"), "three");
  EXPECT_TRUE(Reports(watch));
}

TEST_F(FileWatchTest, TellsWhetherAFileCouldBeReplaced) {
  EXPECT_EQ(ReplaceAccess(file_), 0);
  WriteFile(file_, "one");
  EXPECT_EQ(ReplaceAccess(file_), 0);
  EXPECT_EQ(ReplaceAccess(file_ / "below"), ENOTDIR);
  // Follows links as a change does, and refuses to replace anything but a file.
  Plant(top_, "file void->file/below loop->loop here->file pipe| folder/");
  for (const auto& [name, error] : {std::pair("void", ENOTDIR),
                                    {"loop", ELOOP},
                                    {"here", 0},
                                    {"pipe", EINVAL},
                                    {"folder", EISDIR}}) {
    EXPECT_EQ(ReplaceAccess(At(name)), error) << name;
  }
  if (geteuid() == 0) {
    ASSERT_EQ(chmod(top_.c_str(), 01777), 0);
    ASSERT_EQ(lchown(At("here").c_str(), 30002, 30002), 0);
    EXPECT_EQ(ReplaceAccess(At("here")), EPERM);
  }
  const WithoutRootRights without(env_.folder());
  fs::permissions(file_.parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
  for (const char* name : {"file", "new"}) {
    EXPECT_EQ(ReplaceAccess(file_.parent_path() / name), EACCES) << name;
  }
}

// Root cleans up for the owners of the folder and of the target.
TEST(TrustTest, NamesTheOwnersOfStagedFilesToRemove) {
  struct stat folder = {}, target = {}, staged = {};
  folder.st_uid = 30002;
  target.st_uid = 30003;
  const bool is_root = geteuid() == 0;
  for (const uid_t owner : {geteuid(), 30002u, 30003u, 30004u}) {
    staged.st_uid = owner;
    const bool is_own = owner == geteuid(), is_folders = is_root && owner == 30002;
    staged.st_mode = S_IFDIR;
    EXPECT_EQ(MayRemoveStaged(staged, folder, &target), is_own) << owner;
    staged.st_mode = S_IFREG;
    EXPECT_EQ(MayRemoveStaged(staged, folder, nullptr), is_own || is_folders) << owner;
    EXPECT_EQ(MayRemoveStaged(staged, folder, &target),
              is_own || is_folders || (is_root && owner == 30003));
  }
}

}  // namespace
}  // namespace orvik::test
