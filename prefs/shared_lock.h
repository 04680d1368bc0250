// The lock of the shared preference file: a record of three values that the store itself keeps in
// the user scope, in the domain followed by ".lock".
//
//   value      held                       free after a release
//   "lock"     1                          0
//   "process"  the holder's process name  ""
//   "pid"      the holder's process id    absent
//
// A record counts as free if its process has ended, if its id now belongs to a process of another
// name, or if it was saved before its process was started. Only processes of the same user see the
// record.
//
// A record is refused unless it is a regular file with one name that belongs to the caller, to root
// or to the owner of its folder, and unless no link of another user leads to its folder. A refused
// record counts as free and is neither written nor removed, as if it could not be saved. Functions
// that report reasons name it (PrefError::kLockRefused).
//
// The writers of the shared scope hold more than the record: for the whole change they also hold
// the kernel lock of the preference file's folder (its file ".orvik.lock"), for which processes of
// all users queue, and that of the record's folder. So a writer waits for the record itself only if
// LockGlobalSharedPList, or a program that does not use the kernel locks, has taken it.
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
// try. Waits for the kernel lock of the record count, too. True when the caller now holds the lock.
// A failure to save the record is not reported.
bool LockGlobalSharedPList(const CAtlString& domain);

// Releases the lock, whoever holds it. Needs no free space on the volume: a record that cannot be
// rewritten is removed.
void UnlockGlobalSharedPList(const CAtlString& domain);

// The holder of the lock. If the record is free and a process of any user holds the kernel lock of
// the domain's folder or of the record's folder, that process is shown: its id (0 when unknown),
// its name, and no time.
struct SharedLockRecord {
  enum class State {
    kFree,
    kHeld,
    kStale,    // "lock" is set, but its holder no longer runs
    kRefused,  // `file` is not a regular file of a trusted user: its values do not count
    kUnknown,  // the record is free, but the kernel lock of `file` cannot be examined
  };

  State state = State::kFree;
  int lock = 0;
  CAtlString process;
  int pid = -1;
  CAtlString host;        // the machine of the kernel lock's holder; "" for a record
  std::time_t since = 0;  // the last change of the record; 0 without one
  std::string file;       // the file of the record or of the kernel lock
};
SharedLockRecord CopySharedLockRecord(const CAtlString& domain);

// Makes the lock free if its holder no longer runs. False, with nothing changed, when a live
// process holds it or the record is refused.
bool ReleaseStaleSharedLock(const CAtlString& domain);

// While it lives, all waits of this thread for the lock of the shared scope share ten tries and ten
// seconds; later waits try once. Objects nest; only the outermost one counts.
class SharedLockTimeLimit {
 public:
  SharedLockTimeLimit();
  ~SharedLockTimeLimit();
  SharedLockTimeLimit(const SharedLockTimeLimit&) = delete;
  SharedLockTimeLimit& operator=(const SharedLockTimeLimit&) = delete;
};

// Waits for the time between two tries: a full second by the monotonic clock.
void WaitForSharedLock();

// Replaces the wait of one second between two tries and returns the previous function. An empty
// function means sleeping.
using SharedLockWait = std::function<void()>;
SharedLockWait ExchangeSharedLockWait(SharedLockWait wait);

}  // namespace orvik
