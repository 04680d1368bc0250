// The record of shared_lock.h in its file.
//
// Every user who may write the folder of the record can replace it. So the record is refused unless
// it is a regular file with one name, belongs to a trusted user (host/file_lock.h), and no link of
// another user leads to its folder. A refused record counts as free, and is never written or
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
  // The record of the lock of a domain. The values are those of the last Read.
  explicit LockRecord(const CAtlString& domain);

  // Keeps other processes from testing or changing the record. False when another process does so
  // for the whole wait. If the kernel lock is not available at all, only the record counts.
  bool Lock(int milliseconds = plist::File::kLockMilliseconds);
  void Unlock() { file_.Unlock(); }

  void Read();
  // After Lock or Read: the path that was refused, or "".
  const std::string& refused() const { return refused_; }
  int lock() const;
  CAtlString process() const;
  int pid() const;
  bool IsHeld() const;

  // A failure to save the record is not reported.
  void Take();
  // Needs no free space: a record that cannot be rewritten in place is removed.
  void Release();

  const std::string& path() const { return file_.path(); }
  const host::FileIdentity& identity() const { return file_.identity(); }

 private:
  // Sets "lock" and "process", and sets or removes "pid".
  int Save(int lock, const CAtlString& process, std::optional<int> pid);
  plist::Value Entry(const char16_t* name) const;
  // The reason to refuse the record, if it is visible without opening the file.
  std::string FindObstacle();
  void Refuse(std::string path);
  // Without a place found for a change, a link of another user may lead to the folder.
  bool MayChange() const { return refused_.empty() && file_.has_place(); }

  plist::File file_;
  std::string refused_;
  host::FileIdentity examined_;  // a trusted file, by its attributes
  plist::Value entries_;         // no value unless the record is a dictionary
};

// The name of a running process; "" when there is none, or without /proc.
CAtlString NameOfProcess(int pid);

// How long a change may wait for the lock of its domain. No value: as long as the rules of the lock
// say. Otherwise at most this long; 0 tries once.
using LockWait = std::optional<std::chrono::milliseconds>;

// The tries of one change. Without a wait of its own there are ten tries, a second apart, and all
// waits together, kernel locks included, take at most ten seconds. Under a SharedLockTimeLimit
// (shared_lock.h) its tries and its time count.
class LockTries {
 public:
  explicit LockTries(const LockWait& wait);

  // How long a try may wait for a kernel lock; 0: it tries once.
  std::chrono::milliseconds Left() const;
  int LeftMilliseconds() const { return static_cast<int>(Left().count()); }

  // After a try: waits, and returns whether to try again.
  bool Again();

 private:
  std::chrono::steady_clock::time_point end_;
  std::optional<int> tries_;  // if not those of a limit
  bool is_limited_;           // has the caller's wait
};

// The record of shared_lock.h, held to the end of the C++ scope together with the kernel lock of
// its folder. No process can change the record meanwhile, so Release does not read it again.
class SharedLockHold {
 public:
  SharedLockHold() = default;
  ~SharedLockHold() { Release(); }
  SharedLockHold(const SharedLockHold&) = delete;
  SharedLockHold& operator=(const SharedLockHold&) = delete;

  // The result of taking the other locks of a try.
  enum class Entered {
    kBusy,     // another process holds one for the whole wait
    kLocked,   // locked, or without a lock that could be had
    kNothing,  // nothing to lock: the record is read but not taken
  };

  // Takes the lock of the domain. Each try first calls `enter`, which waits for the other locks as
  // long as the tries allow. After a try that finds the record held, `leave` is called. False when
  // the lock could not be obtained.
  bool Take(const CAtlString& domain, LockTries& tries, const std::function<Entered()>& enter,
            const std::function<void()>& leave);

  // Keeps the record, so that the process holds the lock beyond this object.
  void Leave() { record_.reset(); }

  // While the lock is held: the path for which the record was refused (LockRecord), so that only
  // the kernel lock counts; else "".
  std::string refused() const { return record_ ? record_->refused() : std::string(); }

 private:
  void Release();

  std::optional<LockRecord> record_;
};

}  // namespace orvik
