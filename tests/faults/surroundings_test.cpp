// Every command of both programs in every surrounding, by the rules in docs/reliability.md.
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>

#include <fstream>
#include <iostream>

#include "host/proc.h"
#include "postflight/install_information.h"
#include "tests/faults/fault_layer.h"
#include "tests/support/test_environment.h"
#include "tools/orvikprefs/commands.h"

namespace orvik::test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

const fs::path kPrograms = ProgramFolder();
constexpr int kNotHere = 77;  // this machine does not allow the surrounding
constexpr uid_t kOwner = 30001, kStranger = 30002;

// Commands that only read, commands whose output depends on the surroundings, and commands that
// change files.
constexpr char kReading[] =
    "get Software/App Path; --scope user get Software/App Path; --scope machine tree; check; "
    "export;"
    "list Software; find old; diff in.json Software/App --exit-code; apply script --check";
constexpr char kShowing[] = "complete -- get Soft; lock; where; domains";
constexpr char kChanging[] =
    "set Software/App Path new; --scope user set Software/App Path new; reset Software;"
    "--scope machine set Software/App Path new; --domain com.example.fresh set K n v;"
    "delete Software/App Path; delete-key Software/App -r; copy Software/App Software/Backup;"
    "rename Software/App Path Software/App Folder; import in.json Software/App -q; apply script -q;"
    "edit Software/App -q; export Software/App -o out.json --format json;"
    "--domain com.example.damaged repair -q;"
    "postflight -pathToPkg /p -pathToDest /d -mountPointOfDest / -rootOfCurrSystemFolder /";

struct Command {
  std::vector<std::string> words;
  bool changes, shows_surroundings;
};

std::vector<Command> Commands() {
  std::vector<Command> commands;
  for (const char* const lines : {kReading, kShowing, kChanging}) {
    for (const std::string& line : Split(lines, ';')) {
      commands.push_back({Split(line), lines == kChanging, lines == kShowing});
    }
  }
  return commands;
}

constexpr char kList[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
    "<key>Software</key><dict><key>App</key><dict><key>Path</key><string>old</string>"
    "<key>Größe</key><integer>5</integer>"
    "<key>Since</key><date>2024-05-06T07:08:09Z</date></dict></dict></dict></plist>\n";

const char* const kShared = "root/Users/Shared/Library/Preferences";
const char* const kUsers = "home/Library/Preferences";
const char* const kMachines = "root/Library/Preferences";

// The content of the files that a test compares, by path below the stage.
using Files = std::map<fs::path, std::string>;

struct World {
  fs::path stage;

  void Fill() const {
    for (const char* const folder : {kShared, kUsers, kMachines}) {
      WriteFile(stage / folder / "com.orviktech.Registry.plist", kList);
    }
    WriteFile(stage / kShared / "com.example.damaged.plist",
              "<plist version=\"1.0\"><dict><key>A</key><string>old</string>");
    WriteFile(stage / "tmp/in.json", "{\"Path\": \"new\"}\n");
    WriteFile(stage / "tmp/script", "set Software/App Path \"new\"\n");
    WriteFile(stage / "tmp/out.json", "old\n");
  }

  Files Take() const {
    Files files;
    for (const char* const folder : {kShared, kUsers, kMachines, "tmp"}) {
      for (const auto& entry : fs::directory_iterator(stage / folder)) {
        const std::string name = entry.path().filename().string();
        // The next process that takes the lock shows whether these files are sound.
        if (name == ".orvik.lock" || name.ends_with(".lock.plist") || name == "filler") continue;
        files[fs::path(folder) / name] = entry.is_directory() ? "folder" : ReadFile(entry.path());
      }
    }
    return files;
  }
};

enum class Answer { kAsUsual, kChangesFail, kAny };

using Step = std::function<void()>;
struct Surrounding {
  std::string name;
  Answer answer = Answer::kAsUsual;
  Step begin = [] {};  // runs in the process of each command
  // Run in the commands' process and stage, before and after the files are made.
  std::function<bool()> enter = [] { return true; };  // false: not possible here
  std::function<void(const fs::path& stage)> prepare = [](const fs::path&) {};
  std::optional<FaultPlan> plan = {};  // of a volume
  bool is_program = false;             // tests what happens before or in main
  bool is_heard = true;                // its output can be read
  bool has_home = true;                // the user's files are on the stage
};

int RunHere(const std::vector<std::string>& words) {
  std::vector<const char*> argv = {"orvikprefs"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  if (words.front() != "postflight") {
    return prefstool::Run(static_cast<int>(argv.size()), argv.data(), false, std::cout, std::cerr);
  }
  host::SetProgramArguments(static_cast<int>(argv.size() - 1), argv.data() + 1);
  return RunPostflight();
}

CommandResult Run(const Surrounding& surrounding, const std::vector<std::string>& words) {
  return RunChild([&] {
    setenv("ORVIK_STRICT", "1", 1);
    setenv("ORVIK_LOG_STDERR", "1", 1);
    setenv("EDITOR", "sed -i s/old/new/", 1);
    setenv("TZ", "UTC", 0);
    std::vector<std::string> command = words;
    if (words.front() != "postflight") command.insert(command.begin(), {"--timeout", "0.3"});
    surrounding.begin();
    if (surrounding.is_program) {
      const bool is_tool = words.front() == "postflight";
      if (is_tool) command.erase(command.begin());
      command.insert(command.begin(), kPrograms / (is_tool ? "postflight" : "orvikprefs"));
      return Execute(command);
    }
    if (surrounding.plan) Arm(*surrounding.plan);
    const int status = RunHere(command);
    if (surrounding.plan) Disarm();
    std::cout.flush();
    return status;
  });
}

// The fault in the result of a command; "" for none.
std::string Judge(const Surrounding& surrounding, const Command& command,
                  const CommandResult& usual, const Files& usual_files, const Files& old,
                  const CommandResult& run, const Files& files) {
  const std::string answer = "answers " + std::to_string(run.status) + " (" + run.err + ")";
  // A command may end with this signal only if the reader of its output has gone.
  const bool is_cut = !surrounding.is_heard && run.status == 128 + SIGPIPE;
  if (run.status >= 128 && !is_cut) return answer + ", ended by a signal";
  const bool is_usual = run.status == usual.status;
  const bool fails = surrounding.answer == Answer::kChangesFail && command.changes;
  if (fails == is_usual && surrounding.answer != Answer::kAny && !is_cut) return answer;
  if (is_usual) {
    if (surrounding.is_heard && !command.shows_surroundings && run.out != usual.out) {
      return "prints " + run.out + " for " + usual.out;
    }
  } else {
    const bool is_tool = command.words.front() == "postflight";
    const std::set<int> failures = is_tool ? std::set{1} : std::set{3, 4, 5, 7};
    if (!failures.contains(run.status) && !is_cut) return answer;
    if (surrounding.is_heard && run.err.empty()) return answer + " without a reason";
  }
  for (const auto& [path, content] : files) {
    const auto is = [&, &path = path, &content = content](const Files& others) {
      const auto found = others.find(path);
      return found != others.end() && found->second == content;
    };
    // A failed edit keeps its text, and the tool records each value by itself.
    const std::string name = path.filename().string();
    const bool is_told =
        !surrounding.is_heard || run.err.find("the text is kept in") != std::string::npos;
    const bool is_kept = (name.starts_with("orvikprefs-") && is_told) ||
                         (command.words.front() == "postflight" && content.ends_with("</plist>\n"));
    if (!is(usual_files) && (is_usual || !is(old)) && !is_kept) {
      return answer + ", and leaves " + path.string() + ": " + content;
    }
  }
  for (const auto& [path, content] : is_usual ? usual_files : old) {
    if (!files.contains(path)) return answer + ", and loses " + path.string();
  }
  return {};
}

int RunAll(const Surrounding& surrounding, const fs::path& stage) {
  if (!surrounding.enter()) return kNotHere;
  const Surrounding usual{.name = "usual"};
  std::string faults;
  for (const Command& command : Commands()) {
    if (!surrounding.has_home && command.words.size() > 2 && command.words[1] == "user") continue;
    const auto run = [&](const Surrounding& in, Files* old, Files* files) {
      for (const auto& entry : fs::directory_iterator(stage)) fs::remove_all(entry.path());
      const World world{stage};
      world.Fill();
      fs::current_path(stage / "tmp");
      in.prepare(stage);
      *old = world.Take();
      const CommandResult result = Run(in, command.words);
      *files = world.Take();
      return result;
    };
    Files old, files, usual_files;
    const CommandResult expected = run(usual, &old, &usual_files);
    const CommandResult result = run(surrounding, &old, &files);
    const std::string fault =
        Judge(surrounding, command, expected, usual_files, old, result, files);
    if (fault.empty()) continue;
    for (const std::string& word : command.words) faults += word + ' ';
    faults += fault + '\n';
  }
  std::cout << faults << std::flush;
  return 0;
}

// ---- The surroundings ----

Step Variable(const char* name, const char* value) {
  return [=] { setenv(name, value, 1); };
}

Step Limit(__rlimit_resource resource, rlim_t most) {
  return [=, limit = rlimit{most, most}] { setrlimit(resource, &limit); };
}

std::function<void(const fs::path&)> BehindALink(const char* folder) {
  return [=](const fs::path& stage) {
    fs::rename(stage / folder, stage / "elsewhere");
    fs::create_directory_symlink(stage / "elsewhere", stage / folder);
  };
}

// Gives the process its own mounts, which the rest of the machine does not see.
bool OwnMounts() {
  const uid_t user = getuid();
  const gid_t group = getgid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
    std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
  }
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

std::function<bool()> Mounted(const char* type, const char* options, const char* place = nullptr) {
  return [=] {
    const std::string at = place != nullptr ? place : fs::path(getenv("HOME")).parent_path();
    return OwnMounts() && mount("none", at.c_str(), type, 0, options) == 0;
  };
}

// Everything belongs to the owner; the user runs the commands.
std::function<void(const fs::path&)> OwnedStage(mode_t folders, mode_t files) {
  return [=](const fs::path& stage) {
    chmod(stage.c_str(), 0755);
    for (const auto& entry : fs::recursive_directory_iterator(stage)) {
      const char* const path = entry.path().c_str();
      if (lchown(path, kOwner, kOwner) != 0) abort();
      chmod(path, entry.is_directory() ? folders : files);
    }
  };
}

Step As(uid_t user) {
  return [=] {
    if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) abort();
  };
}

void LoseTheLog() {
  int ends[2];
  if (pipe(ends) != 0) abort();
  dup2(ends[1], 2);
  close(ends[0]);
}

void HaveFewDescriptors() {
  close_range(3, ~0U, 0);
  Limit(RLIMIT_NOFILE, 16)();
}

// Makes the stage, or each of its files, a read-only mount of this process.
void MountTheStage() {
  const std::string stage = fs::path(getenv("HOME")).parent_path();
  constexpr unsigned long kReadOnly = MS_BIND | MS_REMOUNT | MS_RDONLY;
  if (!OwnMounts() || mount(stage.c_str(), stage.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
      mount(nullptr, stage.c_str(), nullptr, kReadOnly, nullptr) != 0) {
    abort();
  }
  fs::current_path(stage + "/tmp");
}
void MountEachFile() {
  if (!OwnMounts()) abort();
  for (const auto& entry :
       fs::recursive_directory_iterator(fs::path(getenv("HOME")).parent_path())) {
    const char* const path = entry.path().c_str();
    if (entry.is_regular_file() && mount(path, path, nullptr, MS_BIND, nullptr) != 0) abort();
  }
}

void FillTheVolume(const fs::path& stage) {
  std::ofstream filler(stage / "tmp/filler");
  for (std::string block(4096, 'x'); !block.empty(); block.resize(block.size() / 2)) {
    filler.clear();
    while (filler << block << std::flush) continue;
  }
}

struct SurroundingTable : std::vector<Surrounding> {
  Surrounding& operator()(
      const char* name, Answer answer = Answer::kAsUsual, const Step& begin = [] {}) {
    return emplace_back(Surrounding{.name = name, .answer = answer, .begin = begin});
  }
  void Program(const char* name, Answer answer, const Step& begin, bool is_heard = true) {
    (*this)(name, answer, begin).is_program = true;
    back().is_heard = is_heard;
  }
  // Adds a surrounding in which everything belongs to the owner.
  Surrounding& Owned(const char* name, Answer answer, mode_t folders, mode_t files,
                     const Step& begin) {
    Surrounding& row = (*this)(name, answer, begin);
    row.enter = [] { return geteuid() == 0; };
    row.prepare = OwnedStage(folders, files);
    return row;
  }
};

SurroundingTable Surroundings() {
  using enum Answer;
  SurroundingTable add;
  const Step nothing = [] {};
  add.Program("usual", kAsUsual, nothing);
  add("home behind a link").prepare = BehindALink("home");
  add("user's preferences behind a link").prepare = BehindALink(kUsers);
  add("shared preferences behind a link").prepare = BehindALink(kShared);
  add.Program(
      "no descriptors 0 to 2", kAny, [] { close_range(0, 2, 0); }, false);
  add.Program("few descriptors", kAsUsual, HaveFewDescriptors);
  add.Program("log reader that went away", kAsUsual, LoseTheLog, false);
  add("umask 0", kAsUsual, [] { umask(0); });
  add("umask 077", kAsUsual, [] { umask(077); });
  add.Program("files of no bytes", kChangesFail, Limit(RLIMIT_FSIZE, 0));
  add.Program("files of 300 bytes", kAny, Limit(RLIMIT_FSIZE, 300));
  add.Program("64 MB of addresses", kAsUsual, Limit(RLIMIT_AS, 64 << 20));
  add.back().enter = [] { return !kSanitized; };
  add("no proc").enter = Mounted("tmpfs", nullptr, "/proc");
  add("read-only volume", kChangesFail, MountTheStage).enter = OwnMounts;
  add("files that are mount points", kAny, MountEachFile).enter = OwnMounts;
  add("full volume", kChangesFail).enter = Mounted("tmpfs", "size=256k");
  add.back().prepare = FillTheVolume;
  add.Owned("no home", kAny, 0755, 0644, [] { As(kOwner)(), unsetenv("HOME"); }).has_home = false;
  add("home that is missing", kAny, [] {
    setenv("HOME", (fs::path(getenv("HOME")) / "none/of/these").c_str(), 1);
  }).has_home = false;
  add.Owned("another user's folders", kChangesFail, 0755, 0644, As(kStranger));
  add.Owned("another user's sticky folders", kAny, 01777, 0666, As(kStranger));
  add.Owned("another user's closed folders", kAny, 0755, 0600, As(kStranger));
  add.Owned("root in a user's folders", kAny, 0755, 0644, nothing);
  add.Owned("set-group folders", kAsUsual, 02755, 0644, As(kOwner));
  add("odd time zone", kAsUsual, Variable("TZ", ":/none/such"));
  add("time zone far away", kAsUsual, Variable("TZ", "FAR-167:59:59"));
  for (const char* const locale :
       {"", "C", "none_SUCH.UTF-8", "tr_TR.UTF-8", "de_DE.ISO-8859-1", "ja_JP.SJIS"}) {
    add.Program(locale, kAsUsual, Variable("LC_ALL", locale));
    add.back().name.insert(0, "locale ");
  }
  add("volume without unnamed files and exchange").plan = {Fault::kKill, 0, Volume::kPlain};
  add("volume without links and locks").plan = {Fault::kKill, 0, Volume::kBare};
  add("quota that is used up", kChangesFail).plan = {Fault::kFullVolume, 1, Volume::kUsual, nullptr,
                                                     EDQUOT};
  add("volume whose server forgot it", kAny).plan = {Fault::kStale, 1};
  return add;
}

void PrintTo(const Surrounding& surrounding, std::ostream* out) {
  *out << surrounding.name;
}

class SurroundingsTest : public ::testing::TestWithParam<Surrounding> {};

TEST_P(SurroundingsTest, TheAnswerAgreesWithTheFiles) {
  // Flushes are fast in memory.
  const ScopedVariable temporary("TMPDIR", access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
  const ScopedEnvironment environment;
  const CommandResult run = RunChild([&] { return RunAll(GetParam(), environment.folder()); });
  if (run.status == kNotHere) GTEST_SKIP() << "this surrounding cannot be had here";
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.status, 0);
}

INSTANTIATE_TEST_SUITE_P(Faults, SurroundingsTest, ::testing::ValuesIn(Surroundings()));

}  // namespace
}  // namespace orvik::test
