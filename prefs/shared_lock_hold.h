// Holding the lock of the shared scope for one change.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "prefs/lock_record.h"
#include "prefs/lock_wait.h"
#include "strings/atl_string.h"

namespace orvik {

// The record of shared_lock.h, held to the end of the C++ scope together with the kernel lock of
// the folder that keeps it. Nobody can change the record meanwhile, so its release needs no look at
// it.
class SharedLockHold {
 public:
  SharedLockHold() = default;
  ~SharedLockHold() { Release(); }
  SharedLockHold(const SharedLockHold&) = delete;
  SharedLockHold& operator=(const SharedLockHold&) = delete;

  // Takes the lock of the domain. Before each of the ten tries, or of as many as the deadline gives
  // time for, calls `enter`, which queues at what
  // else is to be locked and returns false when another holds that for its whole wait. After a try
  // that finds the record held it calls `leave` and waits a second. False when the lock could not
  // be had.
  bool Take(const CAtlString& domain, const LockDeadline& deadline,
            const std::function<bool()>& enter, const std::function<void()>& leave);

  // While the lock is held: the path that makes the record refused (lock_record.h), so that only
  // the kernel lock counts; else "".
  std::string refused() const { return record_ ? record_->refused() : std::string(); }

 private:
  void Release();

  std::optional<LockRecord> record_;
};

}  // namespace orvik
