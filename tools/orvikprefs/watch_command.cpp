#include <cstdlib>
#include <ostream>

#include "host/file_watch.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/print_differences.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// One line of JSON a change, so that a reader needs no end of the list.
void PrintChanges(const Context& context, const std::vector<Difference>& changes) {
  if (!context.json) {
    PrintDifferences(context, changes);
    return;
  }
  for (const Difference& change : changes) {
    JsonWriter line(JsonWriter::Layout::kOneLine);
    WriteDifference(line, change);
    *context.out << line.json() << '\n';
  }
}

// A reader that starts its changes now misses none.
void PrintReady(const Context& context, const CommandLine& line, const std::string& file) {
  if (!line.Has("--ready")) {
    context.Confirm("watching " + Quoted(file) + "; Ctrl-C ends it");
  } else if (context.json) {
    JsonWriter form(JsonWriter::Layout::kOneLine);
    *context.out << form.BeginObject().Name("ready").Text(file).EndObject().json() << '\n';
  } else {
    context.Record({"ready", file});
  }
}

}  // namespace

int Watch(const Context& context, const CommandLine& line) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  if (file.empty()) {
    return context.Fail(kUsage, "the domain " + Quoted(context.domain) + " cannot name a file");
  }
  const KeyPath key = *ParseKey(line.Argument(0));
  const int count = std::atoi(line.Value("--count", "0").c_str());
  // Watching begins before the first reading, so that no change falls between them.
  host::FileWatch watch(file);
  if (!watch.ok()) return context.Fail(kNotFound, Quoted(file) + " cannot be watched");

  CAutoCFRelease<CFDictionaryRef> last;
  bool first = true;
  int printed = 0;
  do {
    PrefResult<CFDictionaryRef> now = CopyPreferenceKey(context.scope, key, context.domain);
    const PrefError error = now.status.error;
    // A file that is damaged at this moment says nothing about the values: the last ones hold.
    if (now.ok() || error == PrefError::kNotFound || error == PrefError::kNotAKey) {
      if (!first) {
        const std::vector<Difference> changes = Differences(last, now.value, PathOf(key));
        PrintChanges(context, changes);
        printed += static_cast<int>(changes.size());
      }
      last = std::move(now.value);
    } else {
      context.Fail(now.status, Quoted(file), false);
    }
    if (first) PrintReady(context, line, file);
    context.out->flush();
    first = false;
    if (count > 0 && printed >= count) return kDone;
  } while (watch.Wait(-1));
  return context.Fail(kNotFound, Quoted(file) + " can no longer be watched");
}

}  // namespace orvik::prefstool
