// What root does with names that another user has prepared, or changes meanwhile.
//
// Each way to write a file that is named by a path meets each trap: it fails, names the obstacle
// where it has words for it, and neither the file behind the trap nor the trap changes. Then the
// other user changes the names as fast as that goes, while root works with them: nothing of root's
// changes, whatever root's work comes to.
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <iostream>
#include <sstream>

#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "files/windows_files.h"
#include "host/file_place.h"
#include "host/file_replacement.h"
#include "host/node_copy.h"
#include "host/proc.h"
#include "host/replace_file.h"
#include "postflight/install_information.h"
#include "streams/stream_factory.h"
#include "tests/support/file_trees.h"
#include "tools/orvikprefs/commands.h"
#include "xml/base64.h"
#include "xml/config_store.h"

namespace orvik::test {
namespace {

using Words = std::vector<std::string>;
constexpr uid_t kOther = 30002;

COrvikFilePath PathOf(const std::string& path) {
  return COrvikFilePath(CAtlString(path.c_str()));
}

bool WriteStream(CComPtr<IStream> stream) {
  return stream && stream->Write("new", 3, nullptr) == S_OK && FinishStream(stream) == S_OK;
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
     [](const std::string& path) {
       return host::ReplaceFile(path, "new", {.present = host::Present::kWriteInto}).error == 0;
     }},
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
    {"text",
     [](const std::string& path) {
       return CFileManipulator::WriteAsciiStringToFile(PathOf(path), "new", 3) == S_OK;
     }},
    {"stream",
     [](const std::string& path) {
       return WriteStream(CStreamFactory::CreateWritableFileStream(PathOf(path)));
     }},
    {"compressed stream",
     [](const std::string& path) {
       return WriteStream(CStreamFactory::CreateWritableCompressedFileStream(PathOf(path)));
     }},
    {"Base64",
     [](const std::string& path) { return decode64ToFile(PathOf(path), "bmV3", 4) == S_OK; }},
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
      Plant(stage, "safe/victim=precious shared/");
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

// ---- Races ----

// Carries the body out again and again, as the other user, until it is destroyed.
class Racer {
 public:
  explicit Racer(const std::function<void()>& body) : pid_(fork()) {
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(240);
    if (setgroups(0, nullptr) != 0 || setgid(kOther) != 0 || setuid(kOther) != 0) _exit(1);
    for (;;) body();
  }
  ~Racer() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  Racer(const Racer&) = delete;
  Racer& operator=(const Racer&) = delete;

 private:
  const pid_t pid_;
};

// One turn of root's work, and one of the other user's; both in a folder of the other user's.
struct Race {
  std::string name;
  std::function<void()> work;
  std::function<void()> attack;
};

void PutLink(const char* target, const char* name) {
  if (symlink(target, "attack") == 0 && rename("attack", name) != 0) unlink("attack");
}

// "way" is a folder or a link to root's; "out" in it a file, a link to root's file, or missing.
void SwapLinks() {
  PutLink("../../safe/victim", "way/out");
  if (mknod("attack", S_IFREG | 0666, 0) == 0) rename("attack", "way/out");
  rename("way", "away");
  PutLink("../safe", "way");
  unlink("way");
  rename("away", "way");
  PutLink("../../safe/new", "way/out");
  unlink("way/out");
}

// Runs a command of the program on a store in the home "way", or whose lock is there.
void RunInHome(const Words& command, const char* scope = "user") {
  setenv("HOME", (fs::current_path() / "way").c_str(), 1);
  std::vector<const char*> words = {"orvikprefs", "--scope", scope, "--timeout", "0"};
  for (const std::string& word : command) words.push_back(word.c_str());
  std::ostringstream out;
  prefstool::Run(static_cast<int>(words.size()), words.data(), false, out, out);
}

void Set() {
  RunInHome({"set", "K", "n", "v"});
}

// The record of the lock and the file of the folder's lock are in the home.
void SetShared() {
  RunInHome({"set", "K", "n", "v"}, "shared");
  RunInHome({"lock", "--release"}, "shared");
  RunInHome({"lock", "--force"}, "shared");
}

// Every command that changes the store, one after another.
void ChangeStore() {
  static int turn = 0;
  static const Words kCommands[] = {
      {"set", "K", "n", "v"},
      {"set", "K", "list", "[1]", "--json"},
      {"set", "K", "list", "2", "--int", "--append"},
      {"copy", "K", "L", "--replace"},
      {"rename", "K", "n", "K", "m", "--replace"},
      {"import", "../safe/changes.json"},
      {"apply", "../safe/script"},
      {"edit"},
      {"delete", "K", "m"},
      {"reset", "L"},
      {"repair"},
      {"repair", "--replace"},
      {"delete-key", "K", "-r"},
      {"lock", "--release"},
      {"lock", "--force"},
  };
  RunInHome(kCommands[turn++ % std::size(kCommands)]);
}

// Every command that only reads it.
void ReadStore() {
  static int turn = 0;
  static const Words kCommands[] = {{"get", "K"},
                                    {"list"},
                                    {"tree"},
                                    {"find", "v"},
                                    {"export"},
                                    {"check"},
                                    {"export", "--format", "json"},
                                    {"where"},
                                    {"domains"},
                                    {"lock"},
                                    {"repair", "-n"},
                                    {"diff", "../safe/changes.json"},
                                    {"complete", "--", "get", ""}};
  RunInHome(kCommands[turn++ % std::size(kCommands)]);
}

void Install() {
  setenv("HOME", (fs::current_path() / "way").c_str(), 1);
  RunPostflight();
}

void SwapHome() {
  constexpr char kFolder[] = "way/Library/Preferences/";
  for (const char* const name :
       {"com.orviktech.Registry.plist", "com.orviktech.Registry.lock.plist", ".orvik.lock"}) {
    const std::string file = std::string(kFolder) + name;
    PutLink("../../../../safe/victim", file.c_str());
    unlink(file.c_str());
    if (mkfifo("attack", 0666) == 0) rename("attack", file.c_str());
    unlink(file.c_str());
    if (link("damaged", "attack") == 0) rename("attack", file.c_str());
    unlink(file.c_str());
    // A file of root that the user may move, but not read.
    const std::string secret = std::string(kFolder) + "secret";
    rename(secret.c_str(), file.c_str());
    rename(file.c_str(), secret.c_str());
  }
  rename("way/Library", "way/away");
  PutLink("../../safe", "way/Library");
  unlink("way/Library");
  rename("way/away", "way/Library");
  rename("way", "away");
  PutLink("../safe", "way");
  unlink("way");
  rename("away", "way");
}

// "tree" holds a folder "a" and a file "f", either of which may be a link to root's, in "copy",
// too.
void SwapEntries() {
  for (const char* const top : {"tree", "copy"}) {
    mkdir(top, 0777);
    const std::string folder = std::string(top) + "/a", file = std::string(top) + "/f";
    mkdir(folder.c_str(), 0777);
    const std::string inner = folder + "/victim";
    if (mknod("attack", S_IFREG | 0666, 0) == 0) rename("attack", inner.c_str());
    rename(folder.c_str(), "away");
    PutLink("../../safe", folder.c_str());
    unlink(folder.c_str());
    rename("away", folder.c_str());
    if (mknod("attack", S_IFREG | 0444, 0) == 0) rename("attack", file.c_str());
    PutLink("../../safe/victim", file.c_str());
    PutLink("../../safe/new", file.c_str());
  }
}

COrvikDirectoryPath FolderOf(const char* name) {
  return COrvikDirectoryPath(CAtlString((fs::current_path() / name).c_str()));
}

const Race kTreeRaces[] = {
    {"copy of a tree",
     [] {
       [[maybe_unused]] const HRESULT result = CDirectoryManipulator::RecursivelyCopyDirectory(
           FolderOf("tree"), FolderOf("copy"), FALSE);
     },
     SwapEntries},
    {"move of a tree",
     [] {
       [[maybe_unused]] const HRESULT result = CDirectoryManipulator::RecursivelyCopyDirectory(
           FolderOf("tree"), FolderOf("copy"), TRUE);
     },
     SwapEntries},
    {"removal of a tree",
     [] { CDirectoryManipulator::RemoveDirectoryAndContents(FolderOf("tree")); }, SwapEntries},
    {"emptying a folder",
     [] {
       CDirectoryManipulator::RemoveFilesFromDirectory(FolderOf("tree"), u"*");
       CDirectoryManipulator::RemoveAllFilesAndSubDirectories(FolderOf("copy"));
     },
     SwapEntries},
    {"trash",
     [] {
       CFileManipulator::DeleteFile(PathOf("tree/a"), FALSE, TRUE);
       CFileManipulator::DeleteFile(PathOf("tree/f"), FALSE, TRUE);
     },
     SwapEntries},
    {"copies of files",
     [] {
       [[maybe_unused]] BOOL is_done = CopyFile(u"tree/f", u"copy/f", FALSE);
       is_done = CFileManipulator::CopyFileTo(PathOf("tree/f"), PathOf("copy/g"), FALSE);
     },
     SwapEntries},
    {"moves of files",
     [] {
       [[maybe_unused]] BOOL is_done = MoveFile(u"tree/f", u"copy/g");
       is_done = MoveFile(u"copy/g", u"tree/h");
       DeleteFile(u"tree/h");
     },
     SwapEntries},
    {"attributes",
     [] {
       for (const DWORD attributes : {FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_NORMAL}) {
         SetFileAttributes(u"tree/f", attributes);
       }
     },
     SwapEntries},
};

// "kept" is a folder of root's, which is not empty and so survives.
void MakeFolders() {
  renameat2(AT_FDCWD, "made", AT_FDCWD, "kept", RENAME_NOREPLACE);
  host::MakePlace(fs::current_path() / "made/file");
  rmdir("made");
  rmdir("kept");
}

void SwapFolders() {
  renameat2(AT_FDCWD, "made", AT_FDCWD, "kept", RENAME_EXCHANGE);
}

void CopyPipe() {
  const host::NodeCopy how{.owner = host::Owner::kSource, .special_files = true};
  host::CopyNode("../safe/pipe", "pipe", how);
  unlink("pipe");
}

void LeadThePipeAway() {
  if (rename("pipe", "taken") == 0) PutLink("../safe/victim", "pipe");
}

std::vector<Race> Races() {
  std::vector<Race> races(std::begin(kTreeRaces), std::end(kTreeRaces));
  races.insert(races.end(), {{"set", Set, SwapHome},
                             {"set in the shared scope", SetShared, SwapHome},
                             {"commands that change", ChangeStore, SwapHome},
                             {"commands that read", ReadStore, SwapHome},
                             {"the installation", Install, SwapHome},
                             {"making a folder", MakeFolders, SwapFolders},
                             {"copy of a pipe", CopyPipe, LeadThePipeAway}});
  for (const Writer& writer : kWriters) {
    const auto write = [&writer] { writer.write(fs::current_path() / "way/out"); };
    races.push_back({writer.name, write, SwapLinks});
  }
  return races;
}

Words RecordsIn(const fs::path& folder) {
  Words records;
  for (const auto& entry : fs::directory_iterator(folder)) {
    records.push_back(RecordOf(entry.path()));
  }
  std::sort(records.begin(), records.end());
  return records;
}

constexpr char kVictim[] =
    "<plist version=\"1.0\"><dict><key>s</key><string>precious</string></dict></plist>";

// A file below the current folder with the content of root's file, which the other user can read;
// "" when there is none.
std::string Leak() {
  struct stat victim = {}, record = {};
  stat("../safe/victim", &victim);
  std::error_code error;
  for (fs::recursive_directory_iterator entry(".", error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string path = entry->path();
    const int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    char content[4096];
    const ssize_t count = file < 0 ? -1 : read(file, content, sizeof content);
    const bool is_known = count < 0 || fstat(file, &record) != 0 || record.st_ino == victim.st_ino;
    if (file >= 0) close(file);
    if (is_known || (record.st_uid != kOther && (record.st_mode & 0044) == 0)) continue;
    const std::string_view bytes(content, static_cast<std::size_t>(count));
    if (bytes.find("precious") != std::string_view::npos) return path;
  }
  return "";
}

void PrintTo(const Race& race, std::ostream* out) {
  *out << race.name;
}

class SecondUserRaceTest : public ::testing::TestWithParam<Race> {};

TEST_P(SecondUserRaceTest, NothingOfRootsChanges) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act against another user";
  const ScopedVariable temporary("TMPDIR", access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
  const ScopedEnvironment environment;
  const fs::path stage = environment.folder() / "stage";
  MakeTree(stage,
           {"safe/victim=" + std::string(kVictim), "safe/pipe|",
            "theirs/way/Library/Preferences/secret=" + std::string(kVictim), "theirs/kept/secret",
            "theirs/damaged=<plist><dict><key>", "theirs/tree/", "theirs/copy/",
            "safe/changes.json={\"K\":{\"n\":\"w\"}}", "safe/script=set K m v\n"});
  const ScopedVariable editor("EDITOR", "sed -i s/v/w/");
  MakeTree(environment.folder(),
           {"root/Users/Shared/Library/Preferences/com.orviktech.Registry.plist="
            "<plist version=\"1.0\"><dict/></plist>"});
  ASSERT_EQ(chmod(environment.folder().c_str(), 0755), 0);
  ASSERT_EQ(chmod((stage / "safe/victim").c_str(), 0600), 0);
  ASSERT_EQ(chmod((stage / "safe/pipe").c_str(), 0666), 0);
  for (const char* const name :
       {"theirs", "theirs/way", "theirs/way/Library", "theirs/way/Library/Preferences",
        "theirs/damaged", "theirs/tree", "theirs/copy"}) {
    ASSERT_EQ(chown((stage / name).c_str(), kOther, kOther), 0);
  }
  const fs::path secret = stage / "theirs/way/Library/Preferences/secret";
  ASSERT_EQ(chmod(secret.c_str(), 0600), 0);
  const Words before = RecordsIn(stage / "safe");
  // Root's own among the other user's names, wherever they are moved.
  const int kept[] = {open((stage / "theirs/kept").c_str(), O_PATH | O_CLOEXEC),
                      open(secret.c_str(), O_PATH | O_CLOEXEC)};
  fs::current_path(stage / "theirs");
  const CommandResult run = [] {
    const Racer attacker(GetParam().attack);
    return RunChild([] {
      using Clock = std::chrono::steady_clock;
      alarm(20);
      for (const auto end = Clock::now() + std::chrono::milliseconds(800); Clock::now() < end;) {
        GetParam().work();
        if (const std::string leak = Leak(); !leak.empty()) {
          std::cerr << leak << " has the content of root's file\n";
          return 1;
        }
      }
      return 0;
    });
  }();
  fs::current_path("/");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(RecordsIn(stage / "safe"), before);
  for (const int own : kept) {
    struct stat record = {};
    EXPECT_EQ(fstatat(own, "", &record, AT_EMPTY_PATH), 0);
    EXPECT_EQ(record.st_uid, 0u);
    EXPECT_EQ(S_ISREG(record.st_mode) ? record.st_size : 0,
              own == kept[1] ? sizeof kVictim - 1 : 0);
    close(own);
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, SecondUserRaceTest, ::testing::ValuesIn(Races()));

}  // namespace
}  // namespace orvik::test
