#include "tests/faults/walk.h"

#include <fnmatch.h>
#include <signal.h>
#include <sys/mman.h>

#include <fstream>
#include <iostream>
#include <new>

#include "tests/faults/crash_states.h"
#include "tests/support/file_trees.h"

// Null if the program has no leak checker.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

// The address sanitizer's defaults are too slow for a program that forks this often.
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=1:malloc_context_size=3";
}

namespace orvik::test {

namespace {

constexpr int kMostPoints = 5000;
// There are many allocations, so after the first ones only some fail. With ORVIK_FAULTS_ALL set,
// every point of every operation is walked.
constexpr int kEveryAllocation = 150;
constexpr int kStride = 11;

struct FaultName {
  Fault fault;
  const char* name;
};
constexpr FaultName kFaults[] = {
    {Fault::kInputOutput, "EIO"},
    {Fault::kScarcity, "scarcity"},
    {Fault::kFullVolume, "full volume"},
    {Fault::kShort, "short read or write"},
    {Fault::kInterrupted, "EINTR"},
    {Fault::kNoMemory, "no memory"},
    {Fault::kKill, "kill"},
    {Fault::kPowerLoss, "power loss"},
    {Fault::kStop, "stop"},
};
constexpr const char* kCalls[] = {"open",   "make",   "read",  "list", "write",     "flush",
                                  "rename", "remove", "close", "lock", "attribute", "answer"};

std::string stage;
Progress* watching = nullptr;
std::function<void(const std::string&)> report_fault;

void SetStage(const std::string& folder) {
  stage = folder;
  for (const auto& [variable, path] :
       {std::pair("ORVIK_SYSTEM_ROOT", InRoot("")), {"HOME", InHome("")}, {"TMPDIR", InTemp("")}}) {
    fs::create_directories(path);
    setenv(variable, path.c_str(), 1);
  }
}

// The state that a process leaves for the next one.
struct WalkState {
  int point;
  int struck;  // all points that were struck
  int deaths;  // of processes at this point
  bool running;
  bool finished;
};

// The part of the content that is the same on every stage and at every time.
std::string Lasting(const std::string& path, std::string content) {
  if (path.ends_with(".trashinfo")) content.resize(std::min(content.size(), content.find("\nDel")));
  for (std::size_t at; (at = content.find(stage)) != std::string::npos;) {
    content.replace(at, stage.size(), "<stage>");
  }
  return content;
}

// Leaves out the record of the shared lock and the lock file of a folder: the next process that
// takes these locks shows whether they are sound.
Snapshot Take() {
  Snapshot snapshot;
  for (const auto& entry : fs::recursive_directory_iterator(stage)) {
    const std::string path = entry.path().string().substr(stage.size() + 1);
    const mode_t type = StatOf(entry.path()).st_mode;
    if (S_ISDIR(type) || path.ends_with(".lock.plist") || path.ends_with("/.orvik.lock")) continue;
    char mode[8];
    snprintf(mode, sizeof mode, "%04o ", type & 07777);
    snapshot[path] = mode + Lasting(path, ContentOf(entry.path(), type));
  }
  return snapshot;
}

std::size_t OpenDescriptors() {
  return NamesIn("/proc/self/fd").size();
}

// The walk through one fault, in a child process.
class Walker {
 public:
  Walker(const Operation& operation, FaultName fault, const std::string& folder,
         WalkState& progress)
      : operation_(operation), fault_(fault), folder_(folder), progress_(progress) {}

  // Records the files before and after the operation. Also initialises everything that a process
  // makes only once.
  void Learn() {
    Prepare(0);
    old_ = Take();
    RunWithFault(0);
    new_ = Take();
    fs::remove_all(stage);
  }

  void WalkOn() {
    if (fault_.fault == Fault::kPowerLoss) return WalkStates();
    if (progress_.deaths > 0) AfterDeath();
    while (!progress_.finished && progress_.point < kMostPoints) {
      progress_.point += Step();
      Point();
    }
    if (progress_.point == kMostPoints) Find("does not end");
    if (fault_.fault != Fault::kNoMemory && __lsan_do_recoverable_leak_check != nullptr &&
        __lsan_do_recoverable_leak_check() != 0) {
      Find("leaks memory");
    }
  }

 private:
  struct Outcome {
    Reported reported = Reported::kNothing;
    bool threw = false;
    FaultReport report;
  };

  int Step() const {
    if (getenv("ORVIK_FAULTS_ALL") != nullptr) return 1;
    const bool skips = fault_.fault == Fault::kNoMemory && progress_.point >= kEveryAllocation;
    return skips ? kStride * operation_.stride : operation_.stride;
  }

  std::string StageOf(int point) const {
    return folder_ + "/" + std::to_string(static_cast<int>(fault_.fault)) + "-" +
           std::to_string(point);
  }

  void Prepare(int point) {
    SetStage(StageOf(point));
    operation_.prepare();
  }

  Outcome RunWithFault(int point) {
    const FaultPlan plan{fault_.fault, point, operation_.volume};
    int answers = 0;
    Progress progress([&](const ProgressState&) {
      return ++answers == point ? ProgressAnswer::kStop : ProgressAnswer::kGoOn;
    });
    const bool stops = fault_.fault == Fault::kStop && point > 0;
    watching = stops ? &progress : nullptr;
    report_fault = [this](const std::string& text) { Find(text); };
    Outcome outcome;
    Arm(plan);
    try {
      outcome.reported = operation_.run();
    } catch (const std::bad_alloc&) {
      outcome.threw = true;
    }
    outcome.report = Disarm();
    if (stops) outcome.report = {progress.IsStopped(), Call::kAnswer};
    if (stops && answers > point) Find("goes on");
    return outcome;
  }

  Outcome RunToEnd() {
    progress_.running = true;
    const Outcome outcome = RunWithFault(progress_.point);
    progress_.running = false;
    return outcome;
  }

  void Point() {
    Prepare(progress_.point);
    const std::size_t descriptors = OpenDescriptors();
    const Outcome outcome = RunToEnd();
    if (!outcome.report.struck) {
      progress_.finished = true;
    } else {
      ++progress_.struck;
      call_ = kCalls[static_cast<int>(outcome.report.call)];
      if (OpenDescriptors() != descriptors) Find("leaves a descriptor open");
      Recover(Judge(outcome));
    }
    fs::remove_all(stage);
  }

  // Builds every state that a power failure can leave. A new process, not that of the operation,
  // then finds each state.
  void WalkStates() {
    const std::string list = folder_ + "/states";
    InProcesses(1, [&](int) { return RecordStates(list), 0; });
    std::ifstream states(list);
    bool is_done = false;
    for (std::string place; states >> place >> progress_.point >> is_done;) {
      ++progress_.struck;
      fs::rename(place, StageOf(1));
      SetStage(StageOf(1));
      const State found = StateOf(Take(), true);
      if (is_done && operation_.durable == Durable::kDone && !found.all_new && old_ != new_) {
        Find("loses what was called done");
      }
      Recover(found);
      fs::remove_all(stage);
    }
    fs::remove(list);
    progress_.finished = true;
  }

  // Builds the states in folders of their own. The list has the folder, the moment, and whether the
  // operation had already reported success.
  void RecordStates(const std::string& list) {
    Prepare(1);
    CallRecorder recorder(stage);
    const FaultPlan plan{Fault::kPowerLoss, 0, operation_.volume, &recorder};
    Arm(plan);
    const Reported reported = operation_.run();
    Disarm();
    fs::remove_all(stage);
    std::ofstream states(list);
    int number = 0;
    for (const CrashState& state : recorder.States()) {
      const std::string place = folder_ + "/state-" + std::to_string(number++);
      Build(state, place);
      states << place << ' ' << state.events << ' ' << (state.at_end && reported == Reported::kDone)
             << '\n';
    }
  }

  void AfterDeath() {
    call_ = "death";
    SetStage(StageOf(progress_.point));
    // A second death must not add to the leftovers of the first: tested at every third point.
    const bool again = progress_.deaths == 1 && progress_.point % 3 == 0;
    if (again && fault_.fault == Fault::kKill) RunToEnd();
    Recover(StateOf(Take(), true));
    fs::remove_all(stage);
    progress_.deaths = 0;
  }

  struct State {
    bool all_old = true;
    bool all_new = true;
  };

  State Judge(const Outcome& outcome) {
    const Call call = outcome.report.call;
    const State state = StateOf(Take(), call == Call::kRemove || outcome.threw);
    if (outcome.threw || old_ == new_) return state;
    // Attributes that cannot be set are left out.
    const bool is_new = state.all_new || call == Call::kAttribute;
    if (outcome.reported == Reported::kDone && !is_new) Find("reports success with the old files");
    // A removal that cannot list a folder to its end does not know that the folder is empty.
    const bool late = call == Call::kFlush || call == Call::kClose || call == Call::kRemove ||
                      call == Call::kList || call == Call::kAnswer;
    if (outcome.reported == Reported::kFailed && state.all_new && !late) {
      Find("reports a failure with the new files");
    }
    return state;
  }

  void Recover(const State& state) {
    if (!operation_.repeats && !state.all_old) return;
    const Outcome outcome = RunWithFault(0);
    if (outcome.reported == Reported::kFailed && state.all_old) Find("fails the next time");
    // If nothing needs to be written again, the leftovers of a power failure stay until the next
    // write.
    const bool may_leave = fault_.fault == Fault::kPowerLoss && state.all_new;
    if (!StateOf(Take(), may_leave).all_new) Find("does not give the new files the next time");
  }

  State StateOf(const Snapshot& files, bool may_leave) {
    State state;
    Snapshot all = old_;
    all.insert(new_.begin(), new_.end());
    all.insert(files.begin(), files.end());
    for (const auto& [path, ignored] : all) {
      const std::string* const present = Find(files, path);
      const bool is_old = IsSame(present, Find(old_, path)),
                 is_new = IsSame(present, Find(new_, path));
      const bool is_left = !is_old && !is_new && IsLeftover(path);
      if (is_left && may_leave) continue;
      state.all_old = state.all_old && is_old;
      state.all_new = state.all_new && is_new;
      if (is_left) {
        Find("leaves " + path);
      } else if (!is_old && !is_new && !IsAlso(path, present)) {
        Find(present != nullptr ? "damages " + path + ": " + testing::PrintToString(*present)
                                : "loses " + path);
      }
    }
    const std::string fault = operation_.fault ? operation_.fault(files) : std::string();
    if (!fault.empty()) Find(fault);
    const bool in_steps =
        operation_.steps == Steps::kAlways || (operation_.steps == Steps::kWhenKilled && may_leave);
    if (!in_steps && !state.all_old && !state.all_new && !operation_.also) {
      Find("mixes old and new files");
    }
    return state;
  }

  static const std::string* Find(const Snapshot& files, const std::string& path) {
    const auto found = files.find(path);
    return found == files.end() ? nullptr : &found->second;
  }

  static bool IsSame(const std::string* one, const std::string* other) {
    return one == nullptr || other == nullptr ? one == other : *one == *other;
  }

  bool IsAlso(const std::string& path, const std::string* present) const {
    if (!operation_.also) return false;
    const std::string content = present != nullptr ? present->substr(5) : std::string();
    return operation_.also(path, present != nullptr ? &content : nullptr);
  }

  bool IsLeftover(const std::string& path) const {
    const auto matches = [&](const std::string& name) {
      return !fnmatch(name.c_str(), path.c_str(), 0);
    };
    return std::any_of(operation_.leftovers.begin(), operation_.leftovers.end(), matches);
  }

  void Find(const std::string& text) {
    std::ofstream(folder_ + "/findings", std::ios::app)
        << progress_.point << ' ' << fault_.name << ", " << call_ << ": " << text << '\n';
  }

  const Operation& operation_;
  FaultName fault_;
  std::string folder_;
  WalkState& progress_;
  Snapshot old_;
  Snapshot new_;
  const char* call_ = "";
};

// The findings of a walk, each listed once with the points at which it occurs.
std::string Findings(const std::string& file) {
  std::map<std::string, std::string> points;
  std::ifstream lines(file);
  std::string point, text;
  while (lines >> point && std::getline(lines, text)) points[text] += ' ' + point;
  std::string findings;
  for (const auto& [finding, at] : points) findings += finding + " at" + at + '\n';
  return findings;
}

int WalkFault(const Operation& operation, FaultName fault, const std::string& folder) {
  void* const shared =
      mmap(nullptr, sizeof(WalkState), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto& progress = *new (shared) WalkState{};
  Walker walker(operation, fault, folder, progress);
  walker.Learn();
  while (!progress.finished) {
    const int status = InProcesses(1, [&](int) {
      // An uncaught exception ends the process with much output.
      const bool is_loud = fault.fault == Fault::kNoMemory;
      if (is_loud) static_cast<void>(freopen("/dev/null", "w", stderr));
      return walker.WalkOn(), 0;
    })[0];
    const bool expected = (fault.fault == Fault::kKill && status == 128 + SIGKILL) ||
                          (fault.fault == Fault::kNoMemory && status == 128 + SIGABRT);
    if (status == 0) break;
    EXPECT_TRUE(expected && progress.running)
        << fault.name << " at " << progress.point << " ends the process with " << status;
    if (!expected || !progress.running) break;
    progress.running = false;
    if (progress.deaths++ == 0) ++progress.struck;
  }
  const int points = progress.struck;
  munmap(shared, sizeof(WalkState));
  const std::string findings = Findings(folder + "/findings");
  EXPECT_EQ(findings, "") << operation.name;
  fs::remove(folder + "/findings");
  return points;
}

}  // namespace

const std::string& Stage() {
  return stage;
}
std::string InRoot(const std::string& path) {
  return stage + "/root" + path;
}
std::string InHome(const std::string& path) {
  return stage + "/home" + path;
}
std::string InTemp(const std::string& path) {
  return stage + "/tmp" + path;
}

Progress* TheProgress() {
  return watching;
}
void ReportFault(const std::string& text) {
  report_fault(text);
}

void Walk(const Operation& operation) {
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
  const ScopedEnvironment environment;
  std::map<std::string, int> points;
  for (const FaultName& fault : kFaults) {
    if (fault.fault == Fault::kPowerLoss && operation.durable == Durable::kNo) continue;
    if (fault.fault != Fault::kStop && operation.only_stops) continue;
    const int count = WalkFault(operation, fault, environment.folder().string());
    const char* const kind = fault.fault == Fault::kKill        ? "kills"
                             : fault.fault == Fault::kPowerLoss ? "states after a loss of power"
                             : fault.fault == Fault::kStop      ? "stops"
                                                                : "failing";
    points[kind] += count;
    if (getenv("ORVIK_FAULTS_VERBOSE") != nullptr) std::cout << fault.name << ": " << count << '\n';
  }
  std::cout << "[ WALKED ] " << operation.name << ':';
  for (const auto& [kind, count] : points) std::cout << ' ' << count << ' ' << kind;
  std::cout << std::endl;
}

TEST_P(FaultsTest, OldOrNewAndReported) {
  Walk(GetParam());
}

}  // namespace orvik::test
