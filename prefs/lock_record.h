// The record of shared_lock.h in its file.
//
// Whoever may write the home of the record can put something else in its place. So the record is
// refused unless it is a regular file with one name of a trusted user (host/file_lock.h), and no
// link of another user leads to its folder. A refused one counts as free, and is never written or
// removed.
#pragma once

#include <string>

#include "platform/core_foundation/property_list_file.h"
#include "prefs/auto_release.h"
#include "strings/atl_string.h"

namespace orvik {

class LockRecord {
 public:
  // The record of the lock of a domain. What it says is that of the last Read.
  explicit LockRecord(const CAtlString& domain);

  // Keeps other processes from testing or changing the record. False when another one does so for
  // the whole wait. Where the kernel lock cannot be had at all, the record alone counts.
  bool Lock(int milliseconds = PropertyListFile::kLockMilliseconds);
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
  int Save(int lock, const CAtlString& process, CFTypeRef pid);
  CFTypeRef Value(const char16_t* name) const;
  // What is to be refused, as far as it can be seen without opening it.
  std::string FindObstacle();
  void Refuse(std::string path);
  // A place that was not found as for a change may lie behind a link of another user.
  bool MayChange() const { return refused_.empty() && file_.has_place(); }

  PropertyListFile file_;
  std::string refused_;
  host::FileIdentity examined_;  // of the file that is not refused
  CAutoCFRelease<CFMutableDictionaryRef> entries_;
};

// The name of a running process; "" when there is none, or without /proc.
CAtlString NameOfProcess(int pid);

}  // namespace orvik
