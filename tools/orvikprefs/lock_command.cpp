#include <ostream>

#include "prefs/shared_lock.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json_writer.h"
#include "tools/orvikprefs/lock_holder.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

void Show(const Context& context, const LockHolder& holder) {
  const std::string state = holder.is_held ? "held" : holder.is_stale ? "stale" : "free";
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

}  // namespace

int Lock(const Context& context, const CommandLine& line) {
  const bool changes = line.Has("--force") || line.Has("--release");
  const LockHolder holder = FindHolder(context);
  if (holder.is_refused) {
    const PrefStatus refused{.error = PrefError::kLockRefused, .path = holder.file};
    return context.Fail(refused, "lock", changes);
  }
  if (line.Has("--force")) {
    UnlockGlobalSharedPList(context.domain);
  } else if (!changes) {
    Show(context, holder);
    return kDone;
  } else if (!ReleaseStaleSharedLock(context.domain)) {
    return context.Fail({PrefError::kLockNotObtained}, "--force frees it all the same", true);
  }
  // The release itself reports nothing: the record shows what it did.
  const SharedLockRecord after = CopySharedLockRecord(context.domain);
  if (after.lock != 0) {
    return context.Fail(kNotSaved, Quoted(after.file) + " still shows the lock");
  }
  context.Confirm("the lock is free");
  return kDone;
}

}  // namespace orvik::prefstool
