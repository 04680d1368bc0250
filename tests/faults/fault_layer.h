// Makes one system call or allocation of this thread fail, or ends the process in its place.
//
// The program that links this defines the C library's entry points itself (fault_calls.cpp) and
// passes every call on unless the thread is armed and the call is the chosen one. Calls are counted
// from 1, and only those that the fault can hit. While armed, the superuser is held to the mode of
// a file as its owner is, and nothing is really flushed.
#pragma once

namespace orvik::test {

class CallRecorder;

enum class Fault {
  kInputOutput,  // fails with EIO
  kScarcity,     // fails for want of room, descriptors or locks
  kFullVolume,   // this and every later call that costs room fails with ENOSPC
  kStale,        // this and every later call that reaches a file fails with ESTALE
  kShortWrite,   // a write takes half of its bytes
  kInterrupted,  // fails with EINTR, as a signal would make it
  kNoMemory,     // std::bad_alloc or null
  kKill,         // SIGKILL; a write has taken half of its bytes by then
  kPowerLoss,    // nothing fails; the calls are recorded (crash_states.h)
  kStop,         // nothing fails; the operation's progress answers that it is to stop (walk.h)
};

// The volume under the operation.
enum class Volume {
  kUsual,
  kNamed,  // knows no files without a name
  kPlain,  // the same, and no flags of renames
  kOther,  // renames to another folder lead to another one
  kBare,   // is plain, and knows no links and no locks
};

enum class Call {
  kOpen,
  kMake,
  kRead,
  kList,
  kWrite,
  kFlush,
  kRename,
  kRemove,
  kClose,
  kLock,
  kAttribute,
  kAnswer  // of a progress
};

struct FaultPlan {
  Fault fault;
  int point;  // 0: none fails
  Volume volume = Volume::kUsual;
  CallRecorder* recorder = nullptr;  // of the calls that change something
  int error = 0;                     // in the place of the fault's own
};

struct FaultReport {
  bool struck = false;
  Call call = Call::kOpen;  // what was struck
};

// Until Disarm, for the calling thread. The plan must live as long.
void Arm(const FaultPlan& plan);
FaultReport Disarm();

// ---- For the entry points ----

struct Verdict {
  int error = 0;  // fail with it
  bool short_write = false;
};
Verdict Judge(Call call);
bool AllocationFails();
// Not null while armed.
const FaultPlan* ArmedPlan();
// The thread is unarmed while it lives, and errno stays as it was.
class Paused {
 public:
  Paused();
  ~Paused();
  Paused(const Paused&) = delete;
  Paused& operator=(const Paused&) = delete;

 private:
  const FaultPlan* const plan_;
  const int error_;
};
// Calls the function if the plan has a recorder.
template <typename Function>
void Record(Function record) {
  const FaultPlan* const plan = ArmedPlan();
  if (plan == nullptr || plan->recorder == nullptr) return;
  const Paused paused;
  record(*plan->recorder);
}

}  // namespace orvik::test
