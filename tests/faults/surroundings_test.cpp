// Every command of the two programs in every surrounding, by one rule:
//
// - no signal ends it;
// - an answer as usual means what it usually means: the files that it leaves, and what it prints;
// - any other answer is that of a failure, never "not found"; it names a reason, and each file is
// the
//   old one or the new one;
// - nothing else is left.
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
constexpr int kNotHere = 77;  // the surrounding cannot be had on this machine
constexpr uid_t kOwner = 30001, kStranger = 30002;

struct Command {
  std::vector<std::string> words;
  bool changes = true;
  bool shows_surroundings = false;  // what it prints
};

const std::string kApp = "Software/App";
const Command kCommands[] = {
    {{"get", kApp, "Path"}, false},
    {{"--scope", "user", "get", kApp, "Path"}, false},
    {{"--scope", "machine", "tree"}, false},
    {{"list", "Software"}, false},
    {{"find", "old"}, false},
    {{"export"}, false},
    {{"diff", "in.json", kApp, "--exit-code"}, false},
    {{"apply", "script", "--check"}, false},
    {{"check"}, false},
    {{"complete", "--", "get", "Soft"}, false, true},
    {{"lock"}, false, true},
    {{"where"}, false, true},
    {{"domains"}, false, true},
    {{"set", kApp, "Path", "new"}},
    {{"--scope", "user", "set", kApp, "Path", "new"}},
    {{"--scope", "machine", "set", kApp, "Path", "new"}},
    {{"--domain", "com.example.fresh", "set", "K", "n", "v"}},
    {{"delete", kApp, "Path"}},
    {{"delete-key", kApp, "-r"}},
    {{"reset", "Software"}},
    {{"rename", kApp, "Path", kApp, "Folder"}},
    {{"copy", kApp, "Software/Backup"}},
    {{"import", "in.json", kApp, "-q"}},
    {{"apply", "script", "-q"}},
    {{"edit", kApp, "-q"}},
    {{"export", kApp, "-o", "out.json", "--format", "json"}},
    {{"--domain", "com.example.damaged", "repair", "-q"}},
    {{"postflight", "-pathToPkg", "/p", "-pathToDest", "/d", "-mountPointOfDest", "/",
      "-rootOfCurrSystemFolder", "/"}},
};

constexpr char kList[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
    "<key>Software</key><dict><key>App</key><dict><key>Path</key><string>old</string>"
    "<key>Größe</key><integer>5</integer>"
    "<key>Since</key><date>2024-05-06T07:08:09Z</date></dict></dict></dict></plist>\n";

const char* const kShared = "root/Users/Shared/Library/Preferences";
const char* const kUsers = "home/Library/Preferences";
const char* const kMachines = "root/Library/Preferences";

// The files whose content is of interest, by path below the stage, while they are there.
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
        // The next one to take the lock shows whether what is left of it is sound.
        if (name == ".orvik.lock" || name.ends_with(".lock.plist") || name == "filler") continue;
        files[fs::path(folder) / name] = entry.is_directory() ? "folder" : ReadFile(entry.path());
      }
    }
    return files;
  }
};

enum class Answer { kAsUsual, kChangesFail, kAny };

struct Surrounding {
  std::string name;
  Answer answer = Answer::kAsUsual;
  // The commands' process and stage: before the files, after them, and in each command's process.
  std::function<bool()> enter = [] { return true; };  // false: it cannot be had here
  std::function<void(const fs::path& stage)> prepare = [](const fs::path&) {};
  std::function<void()> begin = [] {};
  std::optional<FaultPlan> plan = {};  // of a volume
  bool is_program = false;             // what happens before main, or in it, matters
  bool is_heard = true;                // what it prints arrives
  bool can_remove = true;
  bool has_home = true;  // the user's files are those of the stage
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

// What is wrong with a command's answer; "" for nothing.
std::string Judge(const Surrounding& surrounding, const Command& command,
                  const CommandResult& usual, const Files& usual_files, const Files& old,
                  const CommandResult& run, const Files& files) {
  const std::string answer = "answers " + std::to_string(run.status) + " (" + run.err + ")";
  // Only the reader of its answer may end a command so.
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
    // A failed edit keeps its text, or its file where nothing can be removed; the tool records each
    // value by itself.
    const std::string name = path.filename().string();
    const bool is_kept =
        (name.starts_with("orvikprefs-") &&
         (run.err.find("the text is kept in") != std::string::npos || !surrounding.can_remove)) ||
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

// All commands; what is wrong goes to standard output.
int RunAll(const Surrounding& surrounding, const fs::path& stage) {
  if (!surrounding.enter()) return kNotHere;
  const Surrounding usual{"usual"};
  std::string faults;
  for (const Command& command : kCommands) {
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

std::function<void()> Variable(const char* name, const char* value) {
  return [=] { value == nullptr ? unsetenv(name) : setenv(name, value, 1); };
}

std::function<void()> Limit(__rlimit_resource resource, rlim_t most) {
  return [=] {
    const rlimit limit{most, most};
    setrlimit(resource, &limit);
  };
}

// The folder lies elsewhere, and a link leads to it.
std::function<void(const fs::path&)> BehindALink(const char* folder) {
  return [=](const fs::path& stage) {
    fs::rename(stage / folder, stage / "elsewhere");
    fs::create_directory_symlink(stage / "elsewhere", stage / folder);
  };
}

// Mounts of one's own, which the machine does not see.
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

std::function<bool()> Mounted(const char* type, unsigned long flags, const char* options,
                              const char* place = nullptr) {
  return [=] {
    const std::string at = place != nullptr ? place : fs::path(getenv("HOME")).parent_path();
    return OwnMounts() && mount("none", at.c_str(), type, flags, options) == 0;
  };
}

// Everything belongs to the owner, and the commands are carried out by the user.
std::function<void(const fs::path&)> Owned(mode_t folders, mode_t files) {
  return [=](const fs::path& stage) {
    chmod(stage.c_str(), 0755);
    for (const auto& entry : fs::recursive_directory_iterator(stage)) {
      const char* const path = entry.path().c_str();
      if (lchown(path, kOwner, kOwner) != 0) abort();
      chmod(path, entry.is_directory() ? folders : files);
    }
  };
}

std::function<void()> As(uid_t user) {
  return [=] {
    if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) abort();
  };
}

bool IsRoot() {
  return geteuid() == 0;
}

std::vector<Surrounding> Surroundings() {
  using enum Answer;
  std::vector<Surrounding> rows = {
      {.name = "usual", .is_program = true},
      {.name = "home behind a link", .prepare = BehindALink("home")},
      {.name = "user's preferences behind a link", .prepare = BehindALink(kUsers)},
      {.name = "shared preferences behind a link", .prepare = BehindALink(kShared)},
      {.name = "no descriptors 0 to 2",
       .answer = kAny,
       .begin =
           [] {
             for (const int file : {0, 1, 2}) close(file);
           },
       .is_program = true,
       .is_heard = false},
      {.name = "few descriptors",
       .begin =
           [] {
             close_range(3, ~0U, 0);
             Limit(RLIMIT_NOFILE, 16)();
           },
       .is_program = true},
      {.name = "log reader that went away",
       .begin =
           [] {
             int ends[2];
             if (pipe(ends) != 0) abort();
             dup2(ends[1], 2);
             close(ends[0]);
           },
       .is_program = true,
       .is_heard = false},
      {.name = "umask 0", .begin = [] { umask(0); }},
      {.name = "umask 077", .begin = [] { umask(077); }},
      {.name = "files of no bytes",
       .answer = kChangesFail,
       .begin = Limit(RLIMIT_FSIZE, 0),
       .is_program = true},
      {.name = "files of 300 bytes",
       .answer = kAny,
       .begin = Limit(RLIMIT_FSIZE, 300),
       .is_program = true},
      {.name = "64 MB of addresses",
       .enter = [] { return !kSanitized; },
       .begin = Limit(RLIMIT_AS, 64 << 20),
       .is_program = true},
      {.name = "no proc", .enter = Mounted("tmpfs", 0, nullptr, "/proc")},
      {.name = "read-only volume",
       .answer = kChangesFail,
       .enter = OwnMounts,
       .begin =
           [] {
             const std::string stage = fs::path(getenv("HOME")).parent_path();
             if (!OwnMounts() ||
                 mount(stage.c_str(), stage.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
                 mount(nullptr, stage.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY,
                       nullptr) != 0) {
               abort();
             }
             fs::current_path(stage + "/tmp");
           }},
      {.name = "files that are mount points",
       .answer = kAny,
       .enter = OwnMounts,
       .begin =
           [] {
             if (!OwnMounts()) abort();
             const fs::path stage = fs::path(getenv("HOME")).parent_path();
             for (const fs::directory_entry& entry : fs::recursive_directory_iterator(stage)) {
               if (entry.is_regular_file() &&
                   mount(entry.path().c_str(), entry.path().c_str(), nullptr, MS_BIND, nullptr)) {
                 abort();
               }
             }
           }},
      {.name = "full volume",
       .answer = kChangesFail,
       .enter = Mounted("tmpfs", 0, "size=256k"),
       .prepare =
           [](const fs::path& stage) {
             std::ofstream filler(stage / "tmp/filler");
             for (std::string block(4096, 'x'); !block.empty(); block.resize(block.size() / 2)) {
               filler.clear();
               while (filler << block << std::flush) continue;
             }
           }},
      {.name = "no home",
       .answer = kAny,
       .enter = IsRoot,
       .prepare = Owned(0755, 0644),
       .begin =
           [] {
             As(kOwner)();
             unsetenv("HOME");
           },
       .has_home = false},
      {.name = "home that is missing",
       .answer = kAny,
       .begin = [] { setenv("HOME", (fs::path(getenv("HOME")) / "none/of/these").c_str(), 1); },
       .has_home = false},
      {.name = "another user's folders",
       .answer = kChangesFail,
       .enter = IsRoot,
       .prepare = Owned(0755, 0644),
       .begin = As(kStranger)},
      {.name = "another user's sticky folders",
       .answer = kAny,
       .enter = IsRoot,
       .prepare = Owned(01777, 0666),
       .begin = As(kStranger)},
      {.name = "another user's closed folders",
       .answer = kAny,
       .enter = IsRoot,
       .prepare = Owned(0755, 0600),
       .begin = As(kStranger)},
      {.name = "root in a user's folders",
       .answer = kAny,
       .enter = IsRoot,
       .prepare = Owned(0755, 0644)},
      {.name = "set-group folders",
       .enter = IsRoot,
       .prepare = Owned(02755, 0644),
       .begin = As(kOwner)},
      {.name = "odd time zone", .begin = Variable("TZ", ":/none/such")},
      {.name = "time zone far away", .begin = Variable("TZ", "FAR-167:59:59")},
  };
  for (const char* const locale :
       {"", "C", "none_SUCH.UTF-8", "tr_TR.UTF-8", "de_DE.ISO-8859-1", "ja_JP.SJIS"}) {
    rows.push_back({.name = "locale " + std::string(locale),
                    .begin = Variable("LC_ALL", locale),
                    .is_program = true});
  }
  const auto volume = [&](const char* name, Answer answer, FaultPlan plan) {
    rows.push_back({.name = name, .answer = answer, .plan = plan});
  };
  volume("volume without unnamed files and exchange", kAsUsual, {Fault::kKill, 0, Volume::kPlain});
  volume("volume without links and locks", kAsUsual, {Fault::kKill, 0, Volume::kBare});
  volume("full volume that says so late", kChangesFail, {Fault::kFullVolume, 1});
  volume("quota that is used up", kChangesFail,
         {Fault::kFullVolume, 1, Volume::kUsual, nullptr, EDQUOT});
  volume("volume that turned read-only", kChangesFail, {Fault::kReadOnly, 1});
  rows.back().can_remove = false;
  volume("volume whose server forgot it", kAny, {Fault::kStale, 1});
  return rows;
}

void PrintTo(const Surrounding& surrounding, std::ostream* out) {
  *out << surrounding.name;
}

class SurroundingsTest : public ::testing::TestWithParam<Surrounding> {};

TEST_P(SurroundingsTest, TheAnswerAgreesWithTheFiles) {
  // Nothing is slow to flush there.
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
