#include <cerrno>
#include <ctime>
#include <ostream>

#include "host/file_lock.h"
#include "host/proc.h"
#include "prefs/lock_record.h"
#include "prefs/reporting.h"
#include "prefs/scope.h"
#include "prefs/shared_lock.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// "" for 0.
std::string TimeText(std::time_t time) {
  std::tm parts = {};
  char text[64] = "";
  if (time != 0 && localtime_r(&time, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &parts);
  }
  return text;
}

// Adds the user of a running process on this machine, and the start time of the process if the
// record has no time.
void AddOwner(LockHolder* holder) {
  const auto owner = holder->host.empty() ? host::FindProcessOwner(holder->pid) : std::nullopt;
  if (!owner || holder->state == LockHolder::State::kStale) return;
  holder->user = owner->user;
  if (holder->since.empty()) holder->since = TimeText(owner->since);
}

// The holder of the kernel's lock on the folder of the file.
LockHolder HolderOfFolder(const Context& context) {
  LockHolder holder;
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  const std::string folder = file.substr(0, file.rfind('/'));
  holder.file = folder + "/" + host::kFolderLockName;
  std::optional<host::LockHolder> found;
  const int error = host::FindLockHolder(folder, &found);
  if (error != 0) {
    holder.state = error == EINVAL ? LockHolder::State::kRefused : LockHolder::State::kUnknown;
  }
  if (found) {
    holder.state = LockHolder::State::kHeld;
    holder.pid = found->pid;
    if (found->is_local) {
      holder.process = ToUtf8(NameOfProcess(found->pid));
    } else {
      holder.host = found->host;
    }
  }
  AddOwner(&holder);
  return holder;
}

void Show(const Context& context, const LockHolder& holder) {
  // By LockHolder::State; a refused one was reported before.
  static constexpr const char* kStates[] = {"free", "held", "stale", "free", "not known"};
  const std::string state = kStates[static_cast<int>(holder.state)];
  const bool has_process = holder.is_held() || holder.state == LockHolder::State::kStale;
  if (context.json) {
    JsonWriter form;
    form.BeginObject().Name("state").Text(state).Name("file").File(holder.file);
    if (has_process) {
      form.Name("process").Text(holder.process).Name("pid").Integer(holder.pid);
      form.Name("since").Text(holder.since).Name("user").Text(holder.user);
      if (!holder.host.empty()) form.Name("host").Text(holder.host);
    }
    *context.out << form.EndObject().json() << '\n';
  } else if (has_process) {
    context.Record({state, holder.process, std::to_string(holder.pid), holder.since, holder.user});
  } else {
    context.Record({state});
  }
}

int FailUnknown(const Context& context, const LockHolder& holder, const std::string& before) {
  return context.Fail(
      kNotPermitted, "lock: " + before + "not known: no permission to read " + Quoted(holder.file));
}

// Whether the scope's lock has a record. The other scopes only have the kernel's lock, which cannot
// be freed by a command.
bool HasRecord(const Context& context) {
  return EffectiveDomain(context.scope, context.domain).scope == kSharedScope;
}

// Reports the lock after its record was freed. A kernel lock lasts as long as its process.
int ShowFreed(const Context& context) {
  const LockHolder holder = FindHolder(context);
  const bool has_record = HasRecord(context);
  if (has_record) {
    const SharedLockRecord record = CopySharedLockRecord(context.domain);
    if (record.lock != 0) {
      return context.Fail(kNotSaved, Quoted(record.file) + " still shows the lock");
    }
  }
  if (holder.is_held()) {
    return context.Fail(
        kLockNotObtained,
        std::string("lock: ") + (has_record ? "the record is free, but " : "") +
            "a process holds the kernel's lock, which ends only with that process: " +
            Describe(holder));
  }
  if (holder.is_unknown()) {
    return FailUnknown(context, holder,
                       std::string(has_record ? "the record is free; " : "") +
                           "whether the kernel's lock is free is ");
  }
  context.Confirm("the lock is free");
  return kDone;
}

}  // namespace

LockHolder FindHolder(const Context& context) {
  if (!HasRecord(context)) return HolderOfFolder(context);
  const SharedLockRecord record = CopySharedLockRecord(context.domain);
  LockHolder holder;
  holder.state = record.state;
  holder.process = ToUtf8(record.process);
  holder.pid = record.pid;
  // Only a process of this machine has a name.
  if (record.process.IsEmpty()) holder.host = ToUtf8(record.host);
  holder.file = record.file;
  // The record's time counts only if the record is held.
  if (record.lock != 0) holder.since = TimeText(record.since);
  AddOwner(&holder);
  return holder;
}

std::string ProcessOf(const LockHolder& holder) {
  std::string text = holder.process.empty() ? "a process" : Quoted(holder.process);
  if (holder.pid > 0) text += ", process " + std::to_string(holder.pid);
  if (!holder.user.empty()) text += " of " + Escaped(holder.user);
  if (!holder.host.empty()) text += " on " + Escaped(holder.host);
  return text;
}

std::string Describe(const LockHolder& holder) {
  std::string text = ProcessOf(holder);
  if (!holder.since.empty()) text += ", since " + holder.since;
  return text + ", in " + Quoted(holder.file);
}

int Lock(const Context& context, const CommandLine& line) {
  const bool changes = line.Has("--force") || line.Has("--release");
  const LockHolder holder = FindHolder(context);
  if (holder.state == LockHolder::State::kRefused) {
    const PrefStatus refused{.error = PrefError::kLockRefused, .path = holder.file};
    return context.Fail(refused, "lock", changes);
  }
  if (!changes) {
    Show(context, holder);
    return holder.is_unknown() ? FailUnknown(context, holder, "") : kDone;
  }
  if (!HasRecord(context)) return ShowFreed(context);
  if (line.Has("--force")) {
    UnlockGlobalSharedPList(context.domain);
  } else if (!ReleaseStaleSharedLock(context.domain)) {
    return context.Fail({PrefError::kLockNotObtained}, "--force frees it all the same", true);
  }
  return ShowFreed(context);
}

}  // namespace orvik::prefstool
