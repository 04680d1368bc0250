#include "prefs/shared_lock_hold.h"

namespace orvik {

bool SharedLockHold::Take(const CAtlString& domain, LockTries& tries,
                          const std::function<Entered()>& enter,
                          const std::function<void()>& leave) {
  do {
    const Entered entered = enter();
    if (entered == Entered::kBusy) {
      return false;
    }
    const bool takes = entered == Entered::kLocked;
    record_.emplace(domain);
    if (!takes || record_->Lock(tries.LeftMilliseconds())) {
      record_->Read();
      if (!record_->IsHeld()) {
        if (takes) {
          // Should taking it fail for want of memory, the destructor releases it.
          record_->Take();
        } else {
          record_.reset();
        }
        return true;
      }
    }
    record_.reset();
    leave();
  } while (tries.Again());
  return false;
}

void SharedLockHold::Release() {
  if (record_) {
    record_->Release();
    record_.reset();
  }
}

}  // namespace orvik
