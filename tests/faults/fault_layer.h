// Makes a system call or an allocation of this thread fail, or kills the process at that point.
//
// A program that links this layer replaces functions of the C library (fault_calls.cpp). They pass
// each call on, unless the thread is armed and the call is the chosen one. Only calls that the
// fault can affect are counted, from 1. In an armed thread, the superuser is bound by the owner's
// permissions of a file, and flushes do nothing.
#pragma once

namespace orvik::test {

class CallRecorder;

enum class Fault {
  kInputOutput,  // fails with EIO
  kScarcity,     // fails because room, descriptors or locks are exhausted
  kFullVolume,   // this and every later call that needs room fails with ENOSPC
  kStale,        // this and every later call that reaches a file fails with ESTALE
  kShort,        // a read or write moves half of its bytes
  kInterrupted,  // fails with EINTR, as after a signal
  kNoMemory,     // std::bad_alloc or null
  kKill,         // SIGKILL; a write has written half of its bytes
  kPowerLoss,    // nothing fails; the calls are recorded (crash_states.h)
  kStop,         // nothing fails; the progress of the operation asks it to stop (walk.h)
};

// The volume under the operation.
enum class Volume {
  kUsual,
  kNamed,  // has no files without a name
  kPlain,  // like kNamed, and renames accept no flags
  kOther,  // another folder is on another volume
  kBare,   // like kPlain, and has no hard links and no locks
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
  int point;  // 0: no call fails
  Volume volume = Volume::kUsual;
  CallRecorder* recorder = nullptr;  // records the calls that change something
  int error = 0;                     // replaces the error of the fault
};

struct FaultReport {
  bool struck = false;
  Call call = Call::kOpen;  // the call that failed
};

// Arms the calling thread until Disarm. The plan must live as long.
void Arm(const FaultPlan& plan);
FaultReport Disarm();

// ---- For fault_calls.cpp ----

struct Verdict {
  int error = 0;  // the errno of the call
  bool is_short = false;
};
Verdict Judge(Call call);
bool AllocationFails();
// The plan of the armed thread; null if the thread is not armed.
const FaultPlan* ArmedPlan();
// Disarms the thread during its life. Its end restores errno.
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
