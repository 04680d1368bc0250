// How long a change may wait for the lock of its domain.
#pragma once

#include <chrono>
#include <optional>

namespace orvik {

// Nothing: as long as the lock's own rules say. Otherwise at most this long; 0 tries once.
using LockWait = std::optional<std::chrono::milliseconds>;

// The tries of one change. Without a wait of its own there are ten, a second apart, and all that is
// waited for, kernel locks included, takes ten seconds; under a SharedLockTimeLimit (shared_lock.h)
// these are those of the limit.
class LockTries {
 public:
  explicit LockTries(const LockWait& wait);

  // The time that a try may wait for a kernel lock; 0: it tries once.
  std::chrono::milliseconds Left() const;
  int LeftMilliseconds() const { return static_cast<int>(Left().count()); }

  // After a try: waits, and says whether there is another one.
  bool Again();

 private:
  std::chrono::steady_clock::time_point end_;
  std::optional<int> tries_;  // of its own
  bool is_limited_;           // by the caller's wait
};

}  // namespace orvik
