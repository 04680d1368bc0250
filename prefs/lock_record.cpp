#include "prefs/lock_record.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <thread>
#include <utility>

#include "host/proc.h"
#include "host/system.h"
#include "host/trust.h"
#include "platform/carbon/machine.h"
#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/errno_status.h"
#include "prefs/domain_store.h"
#include "prefs/key_walk.h"
#include "prefs/shared_lock.h"
#include "strings/auto_release.h"
#include "text/of_thread.h"

namespace orvik {

namespace {

const char16_t kLock[] = u"lock";
const char16_t kProcess[] = u"process";
const char16_t kPid[] = u"pid";

std::string FileOfRecord(const CAtlString& domain) {
  const EffectiveDomain record(kUserScope, domain + u".lock");
  return record.usable() ? FileOfDomain(record) : std::string();
}

struct OwnProcess {
  int pid = 0;
  CAtlString name;
};

// Looked up once in each process and thread.
const OwnProcess& Own() {
  OwnProcess& own = OfThread<OwnProcess>();
  if (const int pid = getpid(); own.pid != pid) {
    own.name = NameOfProcess(pid);
    own.pid = pid;
  }
  return own;
}

// A record that is older than its process is the record of an earlier process with the same id and
// name, for example of the only process of a container.
bool WasSavedBefore(const host::FileIdentity& file, int pid) {
  // File times lag behind by one step of the kernel's timer; some volumes store whole seconds only,
  // or every other second.
  constexpr std::int64_t kStep = 50'000'000, kSecond = 1'000'000'000;
  const std::optional<std::int64_t> start = host::StartTime(pid);
  const std::int64_t latest = file.modified + (file.modified % kSecond == 0 ? 2 * kSecond : kStep);
  return start && file.exists && latest < *start;
}

}  // namespace

CAtlString NameOfProcess(int pid) {
  ProcessSerialNumber process{};
  CFStringRef name = nullptr;
  if (GetProcessForPID(pid, &process) != noErr || CopyProcessName(&process, &name) != noErr) {
    return {};
  }
  const CAutoCFRelease<CFStringRef> owned(name);
  return CAtlString(name);
}

LockRecord::LockRecord(const CAtlString& domain)
    : file_(FileOfRecord(domain), host::Flush::kNone, plist::File::Saving::kInPlace) {}

bool LockRecord::Lock(int milliseconds) {
  const int error = file_.Lock(plist::File::Folder::kMake, milliseconds);
  if (file_.is_lock_refused()) Refuse(file_.obstacle());
  return error != EWOULDBLOCK;
}

std::string LockRecord::FindObstacle() {
  const host::FilePlace& place = file_.place();
  if (place.error == EPERM || place.error == ELOOP) return place.obstacle;
  if (!place) return {};
  // Opening a device or a pipe may have effects, so check the type first.
  struct stat present;
  if (host::StatEntry(place, &present) != 0) return {};
  if (!host::IsTrustedFile(present, place.folder_attributes)) return path();
  examined_ = host::IdentityOf(present);
  return {};
}

void LockRecord::Refuse(std::string path) {
  host::SystemLog(LOG_WARNING, "Lock record is refused: \"" + path + "\"");
  refused_ = std::move(path);
  entries_ = {};
}

void LockRecord::Read() {
  if (!refused_.empty()) return;
  if (!file_.has_place()) file_.Find();
  if (std::string obstacle = FindObstacle(); !obstacle.empty()) {
    Refuse(std::move(obstacle));
    return;
  }
  const bool has_entries = file_.Read() == plist::File::Contents::kEntries;
  // Another file may have replaced it before it was opened.
  const bool is_another =
      file_.opened().descriptor
          ? !host::IsTrustedFile(file_.opened().attributes, file_.place().folder_attributes)
          : file_.error() == ELOOP;
  if (is_another) {
    Refuse(path());
    return;
  }
  entries_ = has_entries ? file_.root() : plist::Value();
}

plist::Value LockRecord::Entry(const char16_t* name) const {
  const plist::Value* const value = entries_ ? entries_.Find(name) : nullptr;
  return value == nullptr ? plist::Value() : *value;
}

int LockRecord::lock() const {
  return IntOfValue(Entry(kLock)).value_or(0);
}

CAtlString LockRecord::process() const {
  return TextOfValue(Entry(kProcess)).value_or(CAtlString());
}

int LockRecord::pid() const {
  return IntOfValue(Entry(kPid)).value_or(-1);
}

bool LockRecord::IsHeld() const {
  ProcessSerialNumber process{};
  return lock() != 0 && pid() != -1 && GetProcessForPID(pid(), &process) == noErr &&
         NameOfProcess(pid()).Compare(this->process()) == 0 && !WasSavedBefore(identity(), pid());
}

void LockRecord::Take() {
  const OwnProcess& own = Own();
  Save(1, own.name, own.pid);
}

void LockRecord::Release() {
  if (Save(0, CAtlString(), std::nullopt) != 0 && MayChange()) {
    // Even a record that could not be read.
    file_.Remove(identity().exists ? identity() : examined_);
  }
}

int LockRecord::Save(int lock, const CAtlString& process, std::optional<int> pid) {
  if (!MayChange()) return EPERM;
  if (!entries_) entries_ = plist::Value::Dictionary();
  entries_.Set(kLock, lock);
  entries_.Set(kProcess, process.View());
  if (pid) {
    entries_.Set(kPid, *pid);
  } else {
    entries_.Remove(kPid);
  }
  return file_.SaveInPlace(entries_);
}

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPause(1000);
constexpr milliseconds kLongest = kSharedLockTries * kPause;

// The limit of this thread.
struct Limit {
  int depth = 0;
  Clock::time_point end;
  int tries = 0;
};
thread_local Limit limit;

}  // namespace

SharedLockTimeLimit::SharedLockTimeLimit() {
  if (limit.depth++ == 0) {
    limit.end = Clock::now() + kLongest;
    limit.tries = kSharedLockTries;
  }
}

SharedLockTimeLimit::~SharedLockTimeLimit() {
  --limit.depth;
}

LockTries::LockTries(const LockWait& wait)
    : end_(Clock::now() + wait.value_or(kLongest)), is_limited_(wait.has_value()) {
  if (limit.depth == 0) {
    tries_ = kSharedLockTries;
  } else {
    end_ = std::min(end_, limit.end);
  }
}

milliseconds LockTries::Left() const {
  const auto left = std::chrono::ceil<milliseconds>(end_ - Clock::now());
  return std::clamp(left, milliseconds(0), kLongest);
}

bool LockTries::Again() {
  const milliseconds left = Left();
  if (left.count() == 0) return false;
  if (is_limited_) {
    std::this_thread::sleep_for(std::min(left, kPause));
    return true;
  }
  int& tries = tries_ ? *tries_ : limit.tries;
  if (tries == 0) return false;
  WaitForSharedLock();
  return --tries > 0;
}

bool SharedLockHold::Take(const CAtlString& domain, LockTries& tries,
                          const std::function<Entered()>& enter,
                          const std::function<void()>& leave) {
  do {
    const Entered entered = enter();
    if (entered == Entered::kBusy) return false;
    const bool takes = entered == Entered::kLocked;
    record_.emplace(domain);
    if (!takes || record_->Lock(tries.LeftMilliseconds())) {
      record_->Read();
      if (!record_->IsHeld()) {
        if (takes) {
          // If Take fails for lack of memory, the destructor releases the record.
          record_->Take();
        } else {
          record_.reset();
        }
        return true;
      }
    }
    record_.reset();
    leave();
  } while (tries.Again());
  return false;
}

void SharedLockHold::Release() {
  if (record_) {
    record_->Release();
    record_.reset();
  }
}

}  // namespace orvik
