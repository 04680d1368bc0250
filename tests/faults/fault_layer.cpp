#include "tests/faults/fault_layer.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace orvik::test {

namespace {

struct State {
  const FaultPlan* plan = nullptr;
  int met = 0;
  FaultReport report;
};
thread_local State state;

bool CostsRoom(Call call) {
  return call == Call::kMake || call == Call::kWrite;
}

bool Lasts(Fault fault) {
  return fault == Fault::kFullVolume || fault == Fault::kStale;
}

// The error of a call under a fault; 0 if the fault cannot affect the call.
int ErrorOf(Fault fault, Call call) {
  switch (fault) {
    case Fault::kInputOutput:
      return EIO;
    case Fault::kScarcity:
      if (call == Call::kOpen) return EMFILE;
      if (call == Call::kLock) return ENOLCK;
      return CostsRoom(call) || call == Call::kFlush || call == Call::kRename ? ENOSPC : 0;
    case Fault::kFullVolume:
      return CostsRoom(call) ? ENOSPC : 0;
    case Fault::kStale:
      return call == Call::kClose ? 0 : ESTALE;
    case Fault::kInterrupted:
      return call == Call::kRead || call == Call::kList || call == Call::kWrite ||
                     call == Call::kLock
                 ? EINTR
                 : 0;
    case Fault::kShort:
    case Fault::kNoMemory:
    case Fault::kKill:
    case Fault::kPowerLoss:
    case Fault::kStop:
      break;
  }
  return 0;
}

bool CanHit(Fault fault, Call call) {
  if (fault == Fault::kShort) return call == Call::kRead || call == Call::kWrite;
  if (fault == Fault::kKill) {
    return call != Call::kOpen && call != Call::kRead && call != Call::kList &&
           call != Call::kClose;
  }
  return ErrorOf(fault, call) != 0;
}

// Whether the fault strikes at this call: the chosen call, or, for a lasting fault, a later one.
bool Strikes() {
  ++state.met;
  const bool later = Lasts(state.plan->fault) && state.report.struck;
  return state.met == state.plan->point || later;
}

}  // namespace

void Arm(const FaultPlan& plan) {
  state = {};
  state.plan = &plan;
}

FaultReport Disarm() {
  state.plan = nullptr;
  return state.report;
}

const FaultPlan* ArmedPlan() {
  return state.plan;
}

Paused::Paused() : plan_(std::exchange(state.plan, nullptr)), error_(errno) {}

Paused::~Paused() {
  state.plan = plan_;
  errno = error_;
}

Verdict Judge(Call call) {
  if (state.plan == nullptr || !CanHit(state.plan->fault, call) || !Strikes()) return {};
  state.report = {true, call};
  const Fault fault = state.plan->fault;
  if (fault == Fault::kKill && call != Call::kWrite) kill(getpid(), SIGKILL);
  const bool halves = fault == Fault::kShort || fault == Fault::kKill;
  const int error = ErrorOf(fault, call);
  return {error != 0 && state.plan->error != 0 ? state.plan->error : error, halves};
}

bool AllocationFails() {
  if (state.plan == nullptr || state.plan->fault != Fault::kNoMemory || !Strikes()) return false;
  state.report = {true, Call::kMake};
  return true;
}

}  // namespace orvik::test
