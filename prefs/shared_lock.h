// The lock of the shared preference file: a record of three values that the store itself keeps in
// the user scope, in the domain followed by ".lock".
//
//   value      held                       free after a release
//   "lock"     1                          0
//   "process"  the holder's process name  ""
//   "pid"      the holder's process id    absent
//
// A record whose process has ended, or whose id now belongs to a process of another name, is free.
// The lock is advisory, and seen only by processes of the same user. The test and the change of the
// record happen together under a kernel lock that ends with its process, so that of two processes
// that find the lock free one alone takes it; the record shows nothing of that.
#pragma once

#include <ctime>
#include <functional>
#include <string>

#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Whether a live process holds the lock of the domain.
bool IsGlobalSharedPListLocked(const CAtlString& domain);

// Takes the lock; while another process (or the caller itself) holds it, tries ten times, a second
// apart, and gives up a second after the last try. True when the caller now holds it. A record that
// cannot be saved is not noticed.
bool LockGlobalSharedPList(const CAtlString& domain);

// Makes the lock free, whoever holds it.
void UnlockGlobalSharedPList(const CAtlString& domain);

// The record as it stands.
struct SharedLockRecord {
  enum class State { kFree, kHeld, kStale };

  State state = State::kFree;  // kStale: "lock" is set, but its holder no longer runs
  int lock = 0;
  CAtlString process;
  int pid = -1;
  std::time_t since = 0;  // when the record was last changed; 0 when there is none
  std::string file;       // where it is kept
};
SharedLockRecord CopySharedLockRecord(const CAtlString& domain);

// Makes the lock free if its holder no longer runs. False, with nothing changed, when a live
// process holds it.
bool ReleaseStaleSharedLock(const CAtlString& domain);

// The wait of one second between two tries. Gives back the one that was in use; an empty function
// stands for sleeping.
using SharedLockWait = std::function<void()>;
SharedLockWait ExchangeSharedLockWait(SharedLockWait wait);

}  // namespace orvik
