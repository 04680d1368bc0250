// The lock of the shared preference file: a record of three values that the store itself keeps in
// the user scope, in the domain followed by ".lock".
//
//   value      held                       free after a release
//   "lock"     1                          0
//   "process"  the holder's process name  ""
//   "pid"      the holder's process id    absent
//
// A record whose process has ended, whose id now belongs to a process of another name, or that was
// saved before its process was started, is free. The record is seen only by processes of the same
// user.
//
// A record is refused that is not a regular file with one name, of the caller, of root or of the
// owner of its folder, or to whose folder a link of another user leads: it counts as free and is
// neither written nor removed, as if it could not be saved. Reporting calls name it
// (PrefError::kLockRefused).
//
// The writers of the shared scope hold more than the record: for their whole change they hold the
// kernel lock of the folder of the preference file (its file ".orvik.lock"), at which processes of
// all users queue, and that of the folder of the record. So the record holds up only those who find
// it taken through LockGlobalSharedPList, or by a program that knows nothing of the kernel locks.
//
// Calls may come from several threads.
#pragma once

#include <ctime>
#include <functional>
#include <string>

#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Whether a live process holds the lock of the domain.
bool IsGlobalSharedPListLocked(const CAtlString& domain);

inline constexpr int kSharedLockTries = 10;

// Takes the lock, without the kernel lock of the preference file. While another process (or the
// caller itself) holds it, tries ten times, a second apart, and gives up a second after the last
// try; what a try waits for the kernel lock of the record counts. True when the caller now holds
// it. A record that cannot be saved is not noticed.
bool LockGlobalSharedPList(const CAtlString& domain);

// Releases the lock of any holder. Needs no room on the volume: a record that cannot be
// rewritten is removed.
void UnlockGlobalSharedPList(const CAtlString& domain);

// The holder of the lock. Where the record is free and a process of any user holds the kernel lock
// of the domain's folder or of the record's, that process is shown: its id (0 when it is not
// known), its name, and no time.
struct SharedLockRecord {
  enum class State {
    kFree,
    kHeld,
    kStale,    // "lock" is set, but its holder no longer runs
    kRefused,  // `file` is not a regular file of a trusted user: nothing in it counts
    kUnknown,  // no record is held, and the caller may not look at the kernel lock of `file`
  };

  State state = State::kFree;
  int lock = 0;
  CAtlString process;
  int pid = -1;
  CAtlString host;        // the machine of a holder of the kernel lock; "" for the record's
  std::time_t since = 0;  // when the record was last changed; 0 when there is none
  std::string file;       // where it is kept
};
SharedLockRecord CopySharedLockRecord(const CAtlString& domain);

// Makes the lock free if its holder no longer runs. False, with nothing changed, when a live
// process holds it or the record is refused.
bool ReleaseStaleSharedLock(const CAtlString& domain);

// While it lives, all that this thread waits for the lock of the shared scope takes ten tries and
// ten seconds together; what comes after them tries once. Objects nest; the outermost one counts.
class SharedLockTimeLimit {
 public:
  SharedLockTimeLimit();
  ~SharedLockTimeLimit();
  SharedLockTimeLimit(const SharedLockTimeLimit&) = delete;
  SharedLockTimeLimit& operator=(const SharedLockTimeLimit&) = delete;
};

// Waits as long as between two tries: a full second by the monotonic clock.
void WaitForSharedLock();

// Replaces the wait of one second between two tries. Gives back the one that was in use; an empty
// function replaces sleeping.
using SharedLockWait = std::function<void()>;
SharedLockWait ExchangeSharedLockWait(SharedLockWait wait);

}  // namespace orvik
