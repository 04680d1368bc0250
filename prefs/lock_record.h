// The record of shared_lock.h in its file.
//
// Every user who may write the folder of the record can replace it. So the record is
// refused unless it is a regular file with one name of a trusted user (host/file_lock.h), and no
// link of another user leads to its folder. A refused one counts as free, and is never written or
// removed.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "plist/file.h"
#include "strings/atl_string.h"

namespace orvik {

class LockRecord {
 public:
  // The record of the lock of a domain. What it says is that of the last Read.
  explicit LockRecord(const CAtlString& domain);

  // Keeps other processes from testing or changing the record. False when another one does so for
  // the whole wait. Where the kernel lock cannot be had at all, the record alone counts.
  bool Lock(int milliseconds = plist::File::kLockMilliseconds);
  void Unlock() { file_.Unlock(); }

  void Read();
  // Of the last Lock or Read: the path of what is refused; "" otherwise.
  const std::string& refused() const { return refused_; }
  int lock() const;
  CAtlString process() const;
  int pid() const;
  bool IsHeld() const;

  // A record that cannot be saved is not noticed.
  void Take();
  // Needs no room: a record that cannot be rewritten where it lies is removed.
  void Release();

  const std::string& path() const { return file_.path(); }
  const host::FileIdentity& identity() const { return file_.identity(); }

 private:
  // Sets "lock" and "process", and sets or removes "pid".
  int Save(int lock, const CAtlString& process, std::optional<int> pid);
  plist::Value Entry(const char16_t* name) const;
  // The reason to refuse it, as far as that is visible without opening it.
  std::string FindObstacle();
  void Refuse(std::string path);
  // A place that was not found as for a change may lie behind a link of another user.
  bool MayChange() const { return refused_.empty() && file_.has_place(); }

  plist::File file_;
  std::string refused_;
  host::FileIdentity examined_;  // of the file that is not refused
  plist::Value entries_;         // no value without a list of entries
};

// The name of a running process; "" when there is none, or without /proc.
CAtlString NameOfProcess(int pid);

// How long a change may wait for the lock of its domain. Nothing: as long as the rules of the lock
// say. Otherwise at most this long; 0 tries once.
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

// The record of shared_lock.h, held to the end of the C++ scope together with the kernel lock of
// the folder that keeps it. No process can change the record meanwhile, so its release need not
// read it.
class SharedLockHold {
 public:
  SharedLockHold() = default;
  ~SharedLockHold() { Release(); }
  SharedLockHold(const SharedLockHold&) = delete;
  SharedLockHold& operator=(const SharedLockHold&) = delete;

  // The locks that a try has taken besides the record.
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

  // Leaves the record as it is, so that the process goes on holding the lock.
  void Leave() { record_.reset(); }

  // While the lock is held: the path that makes the record refused (lock_record.h), so that only
  // the kernel lock counts; else "".
  std::string refused() const { return record_ ? record_->refused() : std::string(); }

 private:
  void Release();

  std::optional<LockRecord> record_;
};

}  // namespace orvik
