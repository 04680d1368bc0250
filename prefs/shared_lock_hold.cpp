#include "prefs/shared_lock_hold.h"

#include "prefs/shared_lock.h"

namespace orvik {

bool SharedLockHold::Take(const CAtlString& domain, const std::function<bool()>& enter,
                          const std::function<void()>& leave) {
  for (int tries = 0; tries < kSharedLockTries; ++tries) {
    if (!enter()) {
      return false;
    }
    record_.emplace(domain);
    if (record_->Lock(PropertyListFile::Folder::kMake)) {
      record_->Read();
      if (!record_->IsHeld()) {
        // Should taking it fail for want of memory, the destructor releases it.
        record_->Take();
        return true;
      }
    }
    record_.reset();
    leave();
    WaitForSharedLock();
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
