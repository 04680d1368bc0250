#include <ostream>

#include "prefs/transaction.h"
#include "tools/orvikprefs/backup.h"
#include "tools/orvikprefs/change_script.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/print_differences.h"
#include "tools/orvikprefs/progress.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

int FailScript(const Context& context, const PrefStatus& status, const std::string& file,
               const ChangeScript& script) {
  // Without a step the store failed, not the script.
  if (status.step < 0) return context.Fail(status, "nothing is applied", true);
  const ChangeScript::Line& line = script.LineOf(status.step);
  std::string where = Quoted(file) + ", line " + std::to_string(line.number);
  if (!context.hide_values) where += " (" + Quoted(line.text) + ")";
  switch (status.error) {
    case PrefError::kConditionNotMet:
      return context.Fail(kConditionNotMet, where + ": " + line.condition);
    case PrefError::kNotFound:
      return context.Fail(kConditionNotMet, where + ": there is no such key");
    case PrefError::kIsAKey:
    case PrefError::kIsAValue:
      return context.Fail(status, where, true, line.advice);
    default:
      return context.Fail(status, where, true);
  }
}

// Where the script goes wrong; with hidden values, not why: that may quote a part of a value.
std::string MistakeIn(const Context& context, const TextError& mistake) {
  if (!context.hide_values) return mistake.Message();
  TextError place = mistake;
  place.reason = "the line cannot be read";
  return place.Message();
}

// {"changes": [...], "backup": "..."}; without a copy there is no "backup".
void PrintWithBackup(const Context& context, const std::vector<Difference>& differences,
                     const std::string& copy) {
  JsonWriter writer;
  writer.BeginObject().Name("changes").BeginArray();
  for (const Difference& difference : differences) {
    WriteDifference(writer, difference, context.hide_values);
  }
  writer.EndArray();
  if (!copy.empty()) writer.Name("backup").Text(copy);
  *context.out << writer.EndObject().json() << '\n';
}

}  // namespace

int Apply(const Context& given, const CommandLine& line) {
  Context context = given;
  context.hide_values = line.Has("--secret");
  const Progress progress(context, "applying");
  const std::string file = line.Argument(0);
  std::string text;
  if (const int error = ReadWhole(file, text); error != 0) {
    return context.FailFile(file, error, false);
  }
  Transaction transaction = context.Change();
  ChangeScript script;
  TextError mistake;
  if (!script.Read(text, transaction, &mistake)) {
    return context.Fail(kUsage, Quoted(file) + ": " + MistakeIn(context, mistake));
  }
  const bool check = line.Has("--check");
  Backup backup(context, line.Has("--backup") && !check);
  backup.AddTo(transaction);
  TransactionResult result;
  const PrefStatus status =
      check ? transaction.Rehearse(&result) : transaction.Commit(IfDamaged::kFail, &result);
  if (!status.ok()) {
    if (backup.Failed()) return kNotSaved;
    backup.Discard();
    return FailScript(context, status, file, script);
  }
  const std::vector<Difference> differences = Differences(result.before, result.after);
  if (differences.empty()) backup.Discard();
  if (context.json && line.Has("--backup")) {
    PrintWithBackup(context, differences, backup.path());
  } else if (!context.quiet || context.json) {
    PrintDifferences(context, differences);
  }
  return check && !differences.empty() ? kWouldChange : kDone;
}

}  // namespace orvik::prefstool
