#include <ostream>

#include "host/file_watch.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// One line of JSON a change, so that a reader needs no end of the list.
void PrintChanges(const Context& context, const std::vector<Difference>& changes) {
  if (context.json) {
    for (const Json& row : DifferencesToJson(changes)) *context.out << JsonText(row) << '\n';
  } else {
    PrintDifferences(context, changes);
  }
  context.out->flush();
}

}  // namespace

int Watch(const Context& context, const CAtlString& key, int count) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  if (file.empty()) return context.Fail(kUsage, "the domain cannot name a file");
  // Watching begins before the first reading, so that no change falls between them.
  host::FileWatch watch(file);
  if (!watch.ok()) return context.Fail(kNotFound, "\"" + Escaped(file) + "\" cannot be watched");

  CAutoCFRelease<CFDictionaryRef> last;
  bool first = true;
  int printed = 0;
  do {
    PrefResult<CFDictionaryRef> now = CopyPreferenceKey(context.scope, key, context.domain);
    const PrefError error = now.status.error;
    // A file that is damaged at this moment says nothing about the values: the last ones hold.
    if (now.ok() || error == PrefError::kNotFound || error == PrefError::kNotAKey) {
      if (!first) {
        const std::vector<Difference> changes = Differences(last, now.value);
        PrintChanges(context, changes);
        printed += static_cast<int>(changes.size());
      }
      last = std::move(now.value);
    } else {
      context.Fail(now.status, "\"" + Escaped(file) + "\"", false);
    }
    if (first) context.Confirm("watching \"" + Escaped(file) + "\"; Ctrl-C ends it");
    context.out->flush();
    first = false;
    if (count > 0 && printed >= count) return kDone;
  } while (watch.Wait(-1));
  return context.Fail(kNotFound, "\"" + Escaped(file) + "\" can no longer be watched");
}

}  // namespace orvik::prefstool
