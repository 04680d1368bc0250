#include "prefs/shared_lock.h"

#include <unistd.h>

#include <chrono>
#include <thread>
#include <utility>

#include "host/file_lock.h"
#include "host/staged_file.h"
#include "prefs/file_domain_store.h"
#include "prefs/lock_record.h"
#include "prefs/platform_values.h"

namespace orvik {

namespace {

SharedLockWait& Wait() {
  static SharedLockWait wait;
  return wait;
}

// Shows who changes the domain under the kernel lock alone: a process of another user, whose record
// lies in another home.
void AddKernelHolder(const CAtlString& domain, SharedLockRecord* record) {
  const EffectiveDomain effective(kSharedScope, domain);
  if (!effective.usable()) {
    return;
  }
  const std::string folder = host::FolderOf(FileOfDomain(effective));
  const auto holder = host::FindLockHolder(folder);
  if (!holder) {
    return;
  }
  record->state = SharedLockRecord::State::kHeld;
  record->pid = holder->pid;
  record->process = holder->is_local ? NameOfProcess(holder->pid) : CAtlString();
  record->host = CAtlString(holder->host.c_str());
  record->file = folder + "/" + host::kFolderLockName;
}

}  // namespace

void WaitForSharedLock() {
  if (const SharedLockWait& wait = Wait()) {
    wait();
  } else {
    // Goes on after a signal, up to the full second.
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
}

bool IsGlobalSharedPListLocked(const CAtlString& domain) {
  LockRecord record(domain);
  record.Read();
  return record.IsHeld();
}

bool LockGlobalSharedPList(const CAtlString& domain) {
  for (int tries = 0; tries < kSharedLockTries; ++tries) {
    {
      LockRecord record(domain);
      if (record.Lock(PropertyListFile::Folder::kMake)) {
        record.Read();
        if (!record.IsHeld()) {
          try {
            record.Take();
          } catch (...) {
            record.Release();
            throw;
          }
          return true;
        }
      }
    }
    WaitForSharedLock();
  }
  return false;
}

void UnlockGlobalSharedPList(const CAtlString& domain) {
  LockRecord record(domain);
  // Whoever holds it: also a process that was stopped on its way.
  record.Lock(PropertyListFile::Folder::kMake);
  record.Read();
  record.Release();
}

SharedLockRecord CopySharedLockRecord(const CAtlString& domain) {
  LockRecord record(domain);
  record.Read();
  SharedLockRecord result;
  result.lock = record.lock();
  result.process = record.process();
  result.pid = record.pid();
  result.file = record.refused().empty() ? record.path() : record.refused();
  if (record.identity().exists) {
    result.since = static_cast<std::time_t>(record.identity().modified / 1'000'000'000);
  }
  if (result.lock != 0) {
    result.state =
        record.IsHeld() ? SharedLockRecord::State::kHeld : SharedLockRecord::State::kStale;
  }
  if (!record.refused().empty()) {
    result.state = SharedLockRecord::State::kRefused;
  } else if (result.state != SharedLockRecord::State::kHeld) {
    AddKernelHolder(domain, &result);
  }
  return result;
}

bool ReleaseStaleSharedLock(const CAtlString& domain) {
  LockRecord record(domain);
  if (!record.Lock(PropertyListFile::Folder::kMake)) {
    return false;
  }
  record.Read();
  if (record.IsHeld() || !record.refused().empty()) {
    return false;
  }
  record.Release();
  return true;
}

SharedLockWait ExchangeSharedLockWait(SharedLockWait wait) {
  return std::exchange(Wait(), std::move(wait));
}

}  // namespace orvik
