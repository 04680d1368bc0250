#include <ostream>

#include "prefs/shared_lock.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json_writer.h"
#include "tools/orvikprefs/lock_holder.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

void Show(const Context& context, const LockHolder& holder) {
  const std::string state = holder.is_held      ? "held"
                            : holder.is_stale   ? "stale"
                            : holder.is_unknown ? "not known"
                                                : "free";
  if (context.json) {
    JsonWriter form;
    form.BeginObject().Name("state").Text(state).Name("file").Text(holder.file);
    if (holder.is_held || holder.is_stale) {
      form.Name("process").Text(holder.process).Name("pid").Integer(holder.pid);
      form.Name("since").Text(holder.since).Name("user").Text(holder.user);
      if (!holder.host.empty()) form.Name("host").Text(holder.host);
    }
    *context.out << form.EndObject().json() << '\n';
  } else if (holder.is_held || holder.is_stale) {
    context.Record({state, holder.process, std::to_string(holder.pid), holder.since, holder.user});
  } else {
    context.Record({state});
  }
}

int FailUnknown(const Context& context, const LockHolder& holder, const std::string& before) {
  return context.Fail(
      kNotPermitted, "lock: " + before + "not known: no permission to read " + Quoted(holder.file));
}

// What is left after the record was freed. The kernel lock ends with its process alone.
int ShowFreed(const Context& context) {
  const LockHolder holder = FindHolder(context);
  const SharedLockRecord record = CopySharedLockRecord(context.domain);
  if (record.lock != 0) {
    return context.Fail(kNotSaved, Quoted(record.file) + " still shows the lock");
  }
  if (holder.is_held) {
    return context.Fail(
        kLockNotObtained,
        "lock: the record is free, but a process holds the kernel's lock, which only "
        "ends with it: " +
            Describe(holder));
  }
  if (holder.is_unknown) {
    return FailUnknown(context, holder,
                       "the record is free; whether the kernel's lock is free is ");
  }
  context.Confirm("the lock is free");
  return kDone;
}

}  // namespace

int Lock(const Context& context, const CommandLine& line) {
  const bool changes = line.Has("--force") || line.Has("--release");
  const LockHolder holder = FindHolder(context);
  if (holder.is_refused) {
    const PrefStatus refused{.error = PrefError::kLockRefused, .path = holder.file};
    return context.Fail(refused, "lock", changes);
  }
  if (!changes) {
    Show(context, holder);
    return holder.is_unknown ? FailUnknown(context, holder, "") : kDone;
  }
  if (line.Has("--force")) {
    UnlockGlobalSharedPList(context.domain);
  } else if (!ReleaseStaleSharedLock(context.domain)) {
    return context.Fail({PrefError::kLockNotObtained}, "--force frees it all the same", true);
  }
  return ShowFreed(context);
}

}  // namespace orvik::prefstool
