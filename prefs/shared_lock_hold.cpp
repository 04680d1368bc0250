#include "prefs/shared_lock_hold.h"

#include <thread>

#include "prefs/shared_lock.h"

namespace orvik {

bool SharedLockHold::Take(const CAtlString& domain, const LockDeadline& deadline,
                          const std::function<bool()>& enter, const std::function<void()>& leave) {
  constexpr std::chrono::milliseconds kPause(1000);
  for (int tries = 0; deadline.is_limited() || tries < kSharedLockTries; ++tries) {
    if (!enter()) {
      return false;
    }
    record_.emplace(domain);
    if (record_->Lock(PropertyListFile::Folder::kMake, deadline)) {
      record_->Read();
      if (!record_->IsHeld()) {
        // Should taking it fail for want of memory, the destructor releases it.
        record_->Take();
        return true;
      }
    }
    record_.reset();
    leave();
    if (!deadline.is_limited()) {
      WaitForSharedLock();
    } else if (const auto left = deadline.Left(kPause); left.count() > 0) {
      std::this_thread::sleep_for(left);
    } else {
      return false;
    }
  }
  return false;
}

void SharedLockHold::Release() {
  if (record_) {
    record_->Release();
    record_.reset();
  }
}

}  // namespace orvik
