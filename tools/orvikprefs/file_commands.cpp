#include <ostream>

#include "host/file_access.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

struct ScopeRow {
  int scope;
  const char* name;
};
constexpr ScopeRow kScopes[] = {{0, "shared"}, {1, "user"}, {4, "machine"}};

std::string StateOf(const PrefStatus& status) {
  if (status.ok()) return "sound";
  if (status.error == PrefError::kNotFound) return "absent";
  if (status.error == PrefError::kUnreadable) return "unreadable";
  return "damaged";
}

}  // namespace

int Where(const Context& context) {
  Json rows = Json::array();
  for (const ScopeRow& row : kScopes) {
    const std::string file = PreferenceFilePath(row.scope, context.domain);
    if (file.empty()) return context.Fail(kUsage, "the domain cannot name a file");
    const std::string state = StateOf(CopyDomain(row.scope, context.domain).status);
    const std::string access = host::ReplaceAccess(file) == 0 ? "writable" : "read-only";
    if (context.json) {
      rows.push_back({{"scope", row.name}, {"file", file}, {"state", state}, {"access", access}});
    } else if (context.terminal && !context.null_separated) {
      std::string name = row.name;
      name.resize(9, ' ');
      *context.out << context.Coloured(name, "1") << Escaped(file) << "  (" << state << ", "
                   << access << ")\n";
    } else {
      context.Record({row.name, file, state, access});
    }
  }
  if (context.json) *context.out << JsonText(rows, true) << '\n';
  return kDone;
}

int Check(const Context& context) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  const PrefStatus status = CopyDomain(context.scope, context.domain).status;
  if (context.json && !file.empty()) {
    *context.out << JsonText({{"file", file}, {"state", StateOf(status)}}, true) << '\n';
  }
  if (!status.ok()) return context.Fail(status, "\"" + Escaped(file) + "\"", false);
  if (!context.json && !context.quiet) context.Record({file, "sound"});
  return kDone;
}

int Repair(const Context& context) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  const PrefRepair repair = RepairDomain(context.scope, context.domain);
  if (!repair.status.ok()) return context.Fail(repair.status, "\"" + Escaped(file) + "\"", true);
  if (context.json) {
    Json form = {{"file", file}, {"sound_before", repair.was_sound}, {"entries", repair.entries}};
    if (!repair.kept_copy.empty()) form["kept_copy"] = repair.kept_copy;
    *context.out << JsonText(form, true) << '\n';
  } else if (!context.quiet) {
    if (repair.was_sound) {
      context.Record({file, "sound"});
    } else {
      context.Record({file, "repaired", std::to_string(repair.entries), repair.kept_copy});
    }
  }
  return kDone;
}

}  // namespace orvik::prefstool
