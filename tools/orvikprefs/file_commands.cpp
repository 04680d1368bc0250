#include <ostream>

#include "host/trust.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// One word for scripts. A list whose root is not a dictionary counts as damaged, because it has no
// entries.
std::string StateOf(const PrefStatus& status) {
  if (status.ok()) return "sound";
  if (status.error == PrefError::kNotFound) return "absent";
  const bool is_damaged =
      status.error == PrefError::kDamaged || status.error == PrefError::kRootNotDictionary;
  return is_damaged ? "damaged" : "unreadable";
}

void WriteLosses(JsonWriter& form, const PrefRepair& repair) {
  form.Name("lost").Integer(static_cast<std::int64_t>(repair.lost)).Name("losses").BeginArray();
  for (const PrefLoss& loss : repair.losses) {
    form.BeginObject().Name("path").Text(loss.path).Name("what").Text(loss.what);
    form.Name("line").Integer(static_cast<std::int64_t>(loss.line));
    form.Name("column").Integer(static_cast<std::int64_t>(loss.column));
    form.Name("bytes").Integer(static_cast<std::int64_t>(loss.bytes)).EndObject();
  }
  form.EndArray();
}

// In the form of compiler messages, so that editors find the place: file, line and column, or the
// byte in a binary list.
void PrintLosses(const Context& context, const std::string& file, const PrefRepair& repair) {
  for (const PrefLoss& loss : repair.losses) {
    *context.error << Escaped(file) << ':';
    if (loss.line != 0) {
      *context.error << loss.line << ':' << loss.column;
    } else {
      *context.error << " byte " << loss.column;
    }
    *context.error << ": " << Escaped(loss.path) << ": " << loss.what;
    if (loss.bytes != 0) *context.error << " (" << loss.bytes << " bytes)";
    *context.error << '\n';
  }
  if (repair.lost > repair.losses.size()) {
    *context.error << Escaped(file) << ": " << repair.lost - repair.losses.size()
                   << " more places\n";
  }
}

}  // namespace

// Never fails: an unreadable or read-only file is reported in its row.
int Where(const Context& context, const CommandLine& /*line*/) {
  JsonWriter rows;
  rows.BeginArray();
  for (const ScopeName& row : kNamedScopes) {
    const std::string file = PreferenceFilePath(row.scope, context.domain);
    const std::string state = StateOf(ReadDomain(row.scope, context.domain).status);
    const std::string access = host::ReplaceAccess(file) == 0 ? "writable" : "read-only";
    if (context.json) {
      rows.BeginObject().Name("scope").Text(row.name).Name("file").File(file);
      rows.Name("state").Text(state).Name("access").Text(access).EndObject();
    } else if (context.terminal) {
      std::string name = row.name;
      name.resize(9, ' ');
      *context.out << context.Coloured(name, "1") << Escaped(file) << "  (" << state << ", "
                   << access << ")\n";
    } else {
      context.Record({row.name, file, state, access});
    }
  }
  if (context.json) *context.out << rows.EndArray().json() << '\n';
  return kDone;
}

int Domains(const Context& context, const CommandLine& /*line*/) {
  JsonWriter rows;
  rows.BeginArray();
  const DomainFiles found = DomainsOf(context.scope);
  for (const DomainFile& domain : found.list) {
    if (context.json) {
      rows.BeginObject().Name("domain").Text(domain.name).Name("file").File(domain.file);
      rows.Name("size").Integer(static_cast<std::int64_t>(domain.size)).EndObject();
    } else {
      context.Record({domain.name, domain.file, std::to_string(domain.size)});
    }
  }
  if (context.json) *context.out << rows.EndArray().json() << '\n';
  return found.error == 0 ? kDone : context.FailFile(found.unreadable, found.error, false);
}

// In the JSON form the output and the exit status show the state.
int Check(const Context& context, const CommandLine& /*line*/) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  const PrefCheck check = CheckDomain(context.scope, context.domain);
  if (context.json) {
    JsonWriter form;
    form.BeginObject().Name("file").File(file).Name("state").Text(StateOf(check.status));
    if (!check.damage.IsEmpty()) form.Name("damage").Text(ToUtf8(check.damage));
    *context.out << form.EndObject().json() << '\n';
  }
  if (!check.status.ok()) {
    if (!check.damage.IsEmpty())
      *context.error << "orvikprefs: " << Escaped(ToUtf8(check.damage)) << '\n';
    return context.Fail(check.status, Quoted(file), false);
  }
  if (!context.json && !context.quiet) context.Record({file, "sound"});
  return kDone;
}

// Losses are printed even if nothing can be saved, because they show the reason. A dry run with
// --replace succeeds, as the run without --dry-run would.
int Repair(const Context& context, const CommandLine& line) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  const bool dry_run = line.Has("--dry-run"), replaces = line.Has("--replace");
  const PrefRepairMode mode = dry_run    ? PrefRepairMode::kDryRun
                              : replaces ? PrefRepairMode::kReplace
                                         : PrefRepairMode::kSave;
  PrefRepair repair = RepairDomain(context.scope, context.domain, context.lock_wait, mode);
  // A list of another kind has no entries to save, either.
  if (repair.status.error == PrefError::kRootNotDictionary) {
    repair.status = {PrefError::kNothingSaved};
  }
  const bool saves_nothing = repair.status.error == PrefError::kNothingSaved;
  if (saves_nothing && dry_run && replaces) repair.status = PrefStatus::Ok();
  if (!repair.status.ok() && !saves_nothing) {
    return context.Fail(repair.status, Quoted(file), true);
  }
  if (context.json) {
    JsonWriter form;
    form.BeginObject().Name("file").File(file);
    form.Name("sound_before").Boolean(repair.was_sound).Name("entries").Integer(repair.entries);
    if (!repair.kept_copy.empty()) form.Name("kept_copy").File(repair.kept_copy);
    WriteLosses(form, repair);
    *context.out << form.EndObject().json() << '\n';
  } else {
    PrintLosses(context, file, repair);
  }
  if (!repair.status.ok()) return context.Fail(repair.status, Quoted(file), true);
  if (context.quiet || context.json) return kDone;
  if (repair.was_sound) {
    context.Record({file, "sound"});
  } else {
    context.Record(
        {file, dry_run ? "damaged" : "repaired", std::to_string(repair.entries), repair.kept_copy});
  }
  return kDone;
}

}  // namespace orvik::prefstool
