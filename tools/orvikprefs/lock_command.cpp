#include <ctime>
#include <ostream>

#include "prefs/shared_lock.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json_writer.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

const char* StateName(SharedLockRecord::State state) {
  switch (state) {
    case SharedLockRecord::State::kHeld:
      return "held";
    case SharedLockRecord::State::kStale:
      return "stale";
    case SharedLockRecord::State::kFree:
      break;
  }
  return "free";
}

// Local time in ISO 8601 on a terminal and in JSON alike; "" for 0.
std::string TimeText(std::time_t time) {
  std::tm parts = {};
  char text[64] = "";
  if (time != 0 && localtime_r(&time, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &parts);
  }
  return text;
}

void Show(const Context& context, const SharedLockRecord& record) {
  const bool free = record.state == SharedLockRecord::State::kFree;
  const std::string since = free ? "" : TimeText(record.since);
  if (context.json) {
    JsonWriter form;
    form.BeginObject().Name("state").Text(StateName(record.state));
    form.Name("file").Text(record.file);
    if (!free) {
      form.Name("process").Text(ToUtf8(record.process)).Name("pid").Integer(record.pid);
      form.Name("since").Text(since);
    }
    *context.out << form.EndObject().json() << '\n';
  } else if (free) {
    context.Record({StateName(record.state)});
  } else {
    context.Record(
        {StateName(record.state), ToUtf8(record.process), std::to_string(record.pid), since});
  }
}

}  // namespace

int Lock(const Context& context, const CommandLine& line) {
  // Every shared-scope write locks the domain as its caller names it.
  const SharedLockRecord before = CopySharedLockRecord(context.domain);
  if (line.Has("--force")) {
    UnlockGlobalSharedPList(context.domain);
  } else if (!line.Has("--release")) {
    Show(context, before);
    return kDone;
  } else if (!ReleaseStaleSharedLock(context.domain)) {
    return context.Fail(kLockNotObtained, Quoted(before.process) + " (process " +
                                              std::to_string(before.pid) +
                                              ") holds the lock; --force frees it all the same");
  }
  // The release itself reports nothing: the record shows what it did.
  const SharedLockRecord after = CopySharedLockRecord(context.domain);
  if (after.state != SharedLockRecord::State::kFree) {
    return context.Fail(kNotSaved, Quoted(after.file) + " still shows the lock");
  }
  context.Confirm("the lock is free");
  return kDone;
}

}  // namespace orvik::prefstool
