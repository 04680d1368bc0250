#include "prefs/shared_lock.h"

#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

#include "host/file_lock.h"
#include "host/staged_file.h"
#include "prefs/domain_store.h"
#include "prefs/lock_record.h"

namespace orvik {

namespace {

SharedLockWait& Wait() {
  static auto* const wait = new SharedLockWait;
  return *wait;
}

// Adds the holder of the kernel lock of a folder, or that the holder is unknown: a process of
// another user has its record in another home, and a stopped process may not have written one yet.
void AddKernelHolder(const std::string& folder, SharedLockRecord* record) {
  using State = SharedLockRecord::State;
  std::optional<host::LockHolder> holder;
  const int error = host::FindLockHolder(folder, &holder);
  const bool is_free = record->state == State::kFree;
  if (!holder && (error == 0 || (!is_free && error != EINVAL))) return;
  record->file = folder + "/" + host::kFolderLockName;
  record->state = holder ? State::kHeld : error == EINVAL ? State::kRefused : State::kUnknown;
  if (holder) {
    record->pid = holder->pid;
    record->process = holder->is_local ? NameOfProcess(holder->pid) : CAtlString();
    record->host = CAtlString(holder->host.c_str());
  }
}

void AddKernelHolders(const CAtlString& domain, SharedLockRecord* record) {
  using State = SharedLockRecord::State;
  const std::string of_record = std::string(host::ParentPath(record->file));
  const EffectiveDomain effective(kSharedScope, domain);
  if (!effective.usable()) return;
  AddKernelHolder(std::string(host::ParentPath(FileOfDomain(effective))), record);
  if (record->state != State::kHeld && record->state != State::kRefused) {
    AddKernelHolder(of_record, record);
  }
}

}  // namespace

void WaitForSharedLock() {
  if (const SharedLockWait& wait = Wait()) {
    wait();
  } else {
    // sleep_for continues after a signal, up to the full second.
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
}

bool IsGlobalSharedPListLocked(const CAtlString& domain) {
  LockRecord record(domain);
  record.Read();
  return record.IsHeld();
}

bool LockGlobalSharedPList(const CAtlString& domain) {
  SharedLockHold hold;
  LockTries tries({});
  const bool is_taken = hold.Take(
      domain, tries, [] { return SharedLockHold::Entered::kLocked; }, [] {});
  hold.Leave();
  return is_taken;
}

void UnlockGlobalSharedPList(const CAtlString& domain) {
  LockRecord record(domain);
  // The holder does not matter: it may be a process that was stopped halfway.
  record.Lock();
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
    AddKernelHolders(domain, &result);
  }
  return result;
}

bool ReleaseStaleSharedLock(const CAtlString& domain) {
  LockRecord record(domain);
  if (!record.Lock()) return false;
  record.Read();
  if (record.IsHeld() || !record.refused().empty()) return false;
  record.Release();
  return true;
}

SharedLockWait ExchangeSharedLockWait(SharedLockWait wait) {
  return std::exchange(Wait(), std::move(wait));
}

}  // namespace orvik
