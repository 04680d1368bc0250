#include "prefs/lock_wait.h"

#include <algorithm>
#include <thread>

#include "prefs/shared_lock.h"

namespace orvik {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPause(1000);
constexpr milliseconds kLongest = kSharedLockTries * kPause;

// The limit of this thread.
struct Limit {
  int depth = 0;
  Clock::time_point end;
  int tries = 0;
};
thread_local Limit limit;

}  // namespace

SharedLockTimeLimit::SharedLockTimeLimit() {
  if (limit.depth++ == 0) {
    limit.end = Clock::now() + kLongest;
    limit.tries = kSharedLockTries;
  }
}

SharedLockTimeLimit::~SharedLockTimeLimit() {
  --limit.depth;
}

LockTries::LockTries(const LockWait& wait)
    : end_(Clock::now() + wait.value_or(kLongest)), is_limited_(wait.has_value()) {
  if (limit.depth == 0) {
    tries_ = kSharedLockTries;
  } else {
    end_ = std::min(end_, limit.end);
  }
}

milliseconds LockTries::Left() const {
  const auto left = std::chrono::ceil<milliseconds>(end_ - Clock::now());
  return std::clamp(left, milliseconds(0), kLongest);
}

bool LockTries::Again() {
  const milliseconds left = Left();
  if (left.count() == 0) {
    return false;
  }
  if (is_limited_) {
    std::this_thread::sleep_for(std::min(left, kPause));
    return true;
  }
  int& tries = tries_ ? *tries_ : limit.tries;
  if (tries == 0) {
    return false;
  }
  WaitForSharedLock();
  return --tries > 0;
}

}  // namespace orvik
