// Calls of root on names that another user has prepared (traps) or changes meanwhile (races). No
// file of root may change (docs/reliability.md).
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <iostream>
#include <sstream>

#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "files/windows_file_handles.h"
#include "files/windows_files.h"
#include "host/file_names.h"
#include "host/file_place.h"
#include "host/file_replacement.h"
#include "host/node_copy.h"
#include "host/proc.h"
#include "host/replace_file.h"
#include "postflight/install_information.h"
#include "streams/stream_factory.h"
#include "tests/files/support.h"
#include "tools/orvikprefs/commands.h"
#include "xml/base64.h"
#include "xml/config_store.h"

namespace orvik::test {
namespace {
constexpr uid_t kOther = 30002;

bool WriteStream(CComPtr<IStream> stream) {
  return stream && stream->Write("new", 3, nullptr) == S_OK && FinishStream(stream) == S_OK;
}

bool WritePieces(const std::string& path) {
  host::FileReplacement file;
  return file.Open(path, getenv("TMPDIR")) == 0 && file.Write("new") == 0 && file.Commit() == 0;
}

bool WriteHandle(const std::string& path) {
  const HANDLE file = CreateFile(host::FileNameFromBytes(path).c_str(), kAccessWrite, 1, nullptr,
                                 CREATE_ALWAYS, 0, nullptr);
  const bool is_written = orvik::WriteFile(file, "new", 3, nullptr, nullptr) != FALSE;
  return CloseHandle(file) != FALSE && is_written;
}

bool Export(const std::string& path) {
  const char* const words[] = {"orvikprefs", "export", "-o", path.c_str()};
  return prefstool::Run(4, words, false, std::cout, std::cerr) == 0;
}

bool SaveConfiguration(const std::string& path) {
  return SetXMLConfig(1, File(path)) && WriteXMLConfigInt(1, "A", "v", 1) && SaveXMLConfigFile(1);
}

// Writes "new" into the file at the path. Returns whether the call reports success.
using Path = const std::string&;
struct Writer {
  std::string name;
  std::function<bool(Path path)> write;
  bool keeps_existing = false;  // accepts any existing entry and does nothing
};

using Files = CFileManipulator;
using Streams = CStreamFactory;
const Writer kWriters[] = {
    {"replacement", [](Path path) { return host::ReplaceFile(path, "new").error == 0; }},
    {"replacement piece by piece", WritePieces},
    {"handle", WriteHandle},
    {"export", Export},
    {"configuration", SaveConfiguration},
    {"shortcut", [](Path path) { return Files::CreateShortcut(File(path), File("/n")) == S_OK; }},
    {"internet shortcut",
     [](Path path) { return Files::CreateURLShortcut("http://new/", File(path)) == S_OK; }, true},
    {"text", [](Path path) { return Files::WriteAsciiStringToFile(File(path), "n", 1) == S_OK; }},
    {"stream",
     [](Path path) { return WriteStream(Streams::CreateWritableFileStream(File(path))); }},
    {"compressed stream",
     [](Path path) {
       return WriteStream(Streams::CreateWritableCompressedFileStream(File(path)));
     }},
    {"Base64", [](Path path) { return decode64ToFile(File(path), "bmV3", 4) == S_OK; }}};

// An entry of the other user in a folder that everyone may write.
struct Trap {
  std::string name;
  Words entries;         // below the stage
  std::string obstacle;  // the entry that belongs to the other user
  std::string path;      // the path that root writes
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
        alarm(20);  // opening a pipe waits for a reader
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

// Runs the body as the other user, again and again, until it is destroyed.
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

// One turn of root's work and one of the other user's attack, in a folder of the other user.
struct Race {
  std::string name;
  std::function<void()> work;
  std::function<void()> attack;
};

void PutLink(const char* target, const char* name) {
  if (symlink(target, "attack") == 0 && rename("attack", name) != 0) unlink("attack");
}

void PutFile(const char* name, mode_t mode) {
  if (mknod("attack", S_IFREG | mode, 0) == 0) rename("attack", name);
}

void SwapWithLink(const char* folder, const char* target, const char* away = "away") {
  rename(folder, away);
  PutLink(target, folder);
  unlink(folder);
  rename(away, folder);
}

// "way" is a folder, or a link to root's folder. "way/out" is a file, a link to root's file, or
// missing.
void SwapLinks() {
  PutLink("../../safe/victim", "way/out");
  PutFile("way/out", 0666);
  SwapWithLink("way", "../safe");
  PutLink("../../safe/new", "way/out");
  unlink("way/out");
}

// Runs commands of the program, one in each turn. Their store, or its lock, is in the home "way".
std::function<void()> Commands(const char* scope, const char* all) {
  return [=, lines = Split(all, ';'), turn = 0u]() mutable {
    setenv("HOME", (fs::current_path() / "way").c_str(), 1);
    const Words line = Split(lines[turn++ % lines.size()]);
    std::vector<const char*> words = {"orvikprefs", "--scope", scope, "--timeout", "0"};
    for (const std::string& word : line) words.push_back(word.c_str());
    std::ostringstream out;
    prefstool::Run(static_cast<int>(words.size()), words.data(), false, out, out);
  };
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
    // A file of root that the other user may move but not read.
    const std::string secret = std::string(kFolder) + "secret";
    rename(secret.c_str(), file.c_str());
    rename(file.c_str(), secret.c_str());
  }
  SwapWithLink("way/Library", "../../safe", "way/away");
  SwapWithLink("way", "../safe");
}

// "tree" and "copy" each have a folder "a" and a file "f"; any of these may be a link to root's
// entry.
void SwapEntries() {
  for (const std::string top : {"tree", "copy"}) {
    mkdir(top.c_str(), 0777);
    mkdir((top + "/a").c_str(), 0777);
    PutFile((top + "/a/victim").c_str(), 0666);
    SwapWithLink((top + "/a").c_str(), "../../safe");
    PutFile((top + "/f").c_str(), 0444);
    PutLink("../../safe/victim", (top + "/f").c_str());
    PutLink("../../safe/new", (top + "/f").c_str());
  }
}

using Folders = CDirectoryManipulator;
std::function<void()> CopyTree(BOOL moves) {
  return [=] {
    static_cast<void>(Folders::RecursivelyCopyDirectory(Folder(fs::absolute("tree")),
                                                        Folder(fs::absolute("copy")), moves));
  };
}

void EmptyFolders() {
  Folders::RemoveFilesFromDirectory(Folder(fs::absolute("tree")), u"*");
  Folders::RemoveAllFilesAndSubDirectories(Folder(fs::absolute("copy")));
}

void ThrowAway() {
  for (const char* name : {"tree/a", "tree/f"}) Files::DeleteFile(File(name), FALSE, TRUE);
}

void CopyFiles() {
  static_cast<void>(CopyFile(u"tree/f", u"copy/f", FALSE));
  static_cast<void>(Files::CopyFileTo(File("tree/f"), File("copy/g"), FALSE));
}

void MoveFiles() {
  static_cast<void>(MoveFile(u"tree/f", u"copy/g"));
  static_cast<void>(MoveFile(u"copy/g", u"tree/h"));
  DeleteFile(u"tree/h");
}

void SetAttributes() {
  SetFileAttributes(u"tree/f", FILE_ATTRIBUTE_READONLY);
  SetFileAttributes(u"tree/f", FILE_ATTRIBUTE_NORMAL);
}

// "kept" is a folder of root with an entry, so it cannot be removed.
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
  std::vector<Race> races = {
      {"copy of a tree", CopyTree(FALSE), SwapEntries},
      {"move of a tree", CopyTree(TRUE), SwapEntries},
      {"removal of a tree",
       [] { Folders::RemoveDirectoryAndContents(Folder(fs::absolute("tree"))); }, SwapEntries},
      {"emptying a folder", EmptyFolders, SwapEntries},
      {"trash", ThrowAway, SwapEntries},
      {"copies of files", CopyFiles, SwapEntries},
      {"moves of files", MoveFiles, SwapEntries},
      {"attributes", SetAttributes, SwapEntries},
      {"set", Commands("user", "set K n v"), SwapHome},
      // The lock's record and the folder's lock file are in the home.
      {"set in the shared scope", Commands("shared", "set K n v;lock --release;lock --force"),
       SwapHome},
      {"commands that change",
       Commands("user",
                "set K n v;set K list [1] --json;set K list 2 --int --append;edit;reset L;"
                "copy K L --replace;rename K n K m --replace;import ../safe/changes.json;"
                "apply ../safe/script;delete K m;repair;repair --replace;delete-key K -r;"
                "lock --release;lock --force"),
       SwapHome},
      {"commands that read",
       Commands("user",
                "get K;list;tree;find v;export;check;export --format json;where;domains;"
                "lock;repair -n;diff ../safe/changes.json;complete -- get"),
       SwapHome},
      {"the installation", Install, SwapHome},
      {"making a folder", MakeFolders, SwapFolders},
      {"copy of a pipe", CopyPipe, LeadThePipeAway}};
  for (const Writer& writer : kWriters) {
    const auto write = [&writer] { writer.write(fs::current_path() / "way/out"); };
    races.push_back({writer.name, write, SwapLinks});
  }
  return races;
}

Words RecordsIn(const fs::path& folder) {
  Words records = NamesIn(folder);
  for (std::string& record : records) record = RecordOf(folder / record);
  return records;
}

constexpr char kVictim[] =
    "<plist version=\"1.0\"><dict><key>s</key><string>precious</string></dict></plist>";

// The path of a file below the current folder that the other user can read and that has the content
// of root's file; "" if there is none.
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

TEST_P(SecondUserRaceTest, NoFileOfRootChanges) {
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
  // Root's own entries in the other user's folder, wherever the other user moves them.
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
