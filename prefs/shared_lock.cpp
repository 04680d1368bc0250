#include "prefs/shared_lock.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/carbon/processes.h"
#include "platform/core_foundation/preferences.h"
#include "platform/carbon/errno_status.h"
#include "host/file_lock.h"
#include "prefs/auto_release.h"
#include "prefs/domain_store.h"
#include "prefs/platform_values.h"
#include "prefs/preferences.h"

namespace orvik {

namespace {

constexpr int kTries = 10;

const char16_t kLock[] = u"lock";
const char16_t kProcess[] = u"process";
const char16_t kPid[] = u"pid";

SharedLockWait& Wait() {
  static SharedLockWait wait;
  return wait;
}

void WaitOneSecond() {
  if (const SharedLockWait& wait = Wait()) {
    wait();
  } else {
    sleep(1);
  }
}

CAtlString LockDomain(const CAtlString& domain) {
  return domain + u".lock";
}

CAtlString ProcessName(const ProcessSerialNumber& process) {
  CFStringRef name = nullptr;
  if (CopyProcessName(&process, &name) != noErr) {
    return {};
  }
  const CAutoCFRelease<CFStringRef> owned(name);
  return CAtlString(name);
}

// The record, with every check made on what any process last wrote.
class Record {
 public:
  explicit Record(const CAtlString& domain) : domain_(LockDomain(domain)) {}

  int Int(const char16_t* name, int default_value) const {
    unsigned long error = 0;
    return GetPreferenceInt(kUserScope, CAtlString(), CAtlString(name), default_value, &error,
                            domain_);
  }
  CAtlString Text(const char16_t* name) const {
    unsigned long error = 0;
    return GetPreferenceString(kUserScope, CAtlString(), CAtlString(name), CAtlString(), &error,
                               domain_);
  }
  bool IsHeld() const {
    return Int(kLock, 0) != 0 && NamesRunningProcess(Text(kProcess), Int(kPid, -1));
  }

  void Take() const {
    ProcessSerialNumber current{};
    pid_t pid = -1;
    GetCurrentProcess(&current);
    GetProcessPID(&current, &pid);
    Change(PlatformNumber(1), PlatformString(ProcessName(current)),
           PlatformNumber(static_cast<int>(pid)));
  }

  void Release() const { Change(PlatformNumber(0), PlatformString(CAtlString()), nullptr); }

  std::string file() const {
    return host::PreferencesFile(PlatformString(domain_), kCFPreferencesCurrentUser,
                                 kCFPreferencesAnyHost);
  }

  static bool NamesRunningProcess(const CAtlString& name, int pid) {
    ProcessSerialNumber process{};
    return pid != -1 && GetProcessForPID(pid, &process) == noErr &&
           ProcessName(process).Compare(name) == 0;
  }

 private:
  // Writes "lock" and "process" and writes or removes "pid", between two synchronisations. Testers
  // are held off meanwhile, so the record is saved once, not after each of its values.
  void Change(CFTypeRef lock, CFTypeRef process, CFTypeRef pid) const {
    const EffectiveDomain domain(kUserScope, domain_);
    if (!domain.usable()) {
      return;
    }
    const auto store = SystemStores().Open(domain, StorePurpose::kChange);
    store->Synchronize();
    store->SetEntry(PlatformString(kLock), lock);
    store->SetEntry(PlatformString(kProcess), process);
    store->SetEntry(PlatformString(kPid), pid);
    store->Save();
  }

  CAtlString domain_;
};

// Keeps other processes from testing or changing a record.
class RecordLock {
 public:
  explicit RecordLock(const Record& record)
      : lock_(host::FileLock::Take(host::PreferencesLockPath(record.file()), kMilliseconds)) {}

  // False when another process is at the record for too long. Where the kernel lock cannot be had
  // at all the record alone counts.
  bool may_change() const { return lock_.held() || lock_.error() != EWOULDBLOCK; }

 private:
  static constexpr int kMilliseconds = 1000;

  host::FileLock lock_;
};

}  // namespace

bool IsGlobalSharedPListLocked(const CAtlString& domain) {
  return Record(domain).IsHeld();
}

bool LockGlobalSharedPList(const CAtlString& domain) {
  const Record record(domain);
  for (int tries = 0; tries < kTries; ++tries) {
    {
      const RecordLock lock(record);
      if (lock.may_change() && !record.IsHeld()) {
        try {
          record.Take();
        } catch (...) {
          record.Release();
          throw;
        }
        return true;
      }
    }
    WaitOneSecond();
  }
  return false;
}

void UnlockGlobalSharedPList(const CAtlString& domain) {
  const Record record(domain);
  const RecordLock lock(record);
  record.Release();
}

SharedLockRecord CopySharedLockRecord(const CAtlString& domain) {
  const Record record(domain);
  SharedLockRecord result;
  result.lock = record.Int(kLock, 0);
  result.process = record.Text(kProcess);
  result.pid = record.Int(kPid, -1);
  result.file = record.file();
  struct stat attributes;
  if (!result.file.empty() && stat(result.file.c_str(), &attributes) == 0) {
    result.since = attributes.st_mtime;
  }
  if (result.lock != 0) {
    result.state = Record::NamesRunningProcess(result.process, result.pid)
                       ? SharedLockRecord::State::kHeld
                       : SharedLockRecord::State::kStale;
  }
  return result;
}

bool ReleaseStaleSharedLock(const CAtlString& domain) {
  const Record record(domain);
  const RecordLock lock(record);
  if (!lock.may_change() || record.IsHeld()) {
    return false;
  }
  record.Release();
  return true;
}

SharedLockWait ExchangeSharedLockWait(SharedLockWait wait) {
  return std::exchange(Wait(), std::move(wait));
}

}  // namespace orvik
