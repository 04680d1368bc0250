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

  // What a try has locked besides the record.
  enum class Entered {
    kBusy,     // another holds it for the whole wait
    kLocked,   // or it cannot be locked at all
    kNothing,  // there is nothing to be locked: the record is looked at, but not taken
  };

  // Takes the lock of the domain. Before each try calls `enter`, which queues at what else is to be
  // locked for as long as the tries leave. After a try that finds the record held it calls `leave`.
  // False when the lock could not be had.
  bool Take(const CAtlString& domain, LockTries& tries, const std::function<Entered()>& enter,
            const std::function<void()>& leave);

  // While the lock is held: the path that makes the record refused (lock_record.h), so that only
  // the kernel lock counts; else "".
  std::string refused() const { return record_ ? record_->refused() : std::string(); }

 private:
  void Release();

  std::optional<LockRecord> record_;
};

}  // namespace orvik
