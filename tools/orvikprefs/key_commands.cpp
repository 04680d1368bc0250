#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// A value or key, by its parent key and its name there.
struct Place {
  KeyPath key;
  CAtlString name;
  std::string text;
};

// "KEY NAME" at these arguments, or the last name of "KEY".
std::optional<Place> PlaceAt(const CommandLine& line, std::size_t index, bool is_key) {
  const KeyPath key = KeyAt(line, index);
  if (!is_key) {
    const CAtlString name = NameAt(line, index + 1);
    return Place{key, name, ValueAddress(key, name)};
  }
  if (key.empty()) return std::nullopt;
  return Place{key.Parent(), key.name(key.count()), KeyText(key)};
}

// A value above the place is a different failure, which the change itself reports.
void RequireFree(Transaction& transaction, const Place& place) {
  transaction.RequireThat(place.key, place.name, [](const Value& there) { return !there; });
}

// Copies between two stores: the value that was read is set in the other store as one change. The
// source may change in between; the target gets the value that was read.
int CopyToStore(const Context& context, const CommandLine& line, const Place& from,
                const Place& to) {
  const Context target = TargetStore(context, line);
  const PrefValue found = ReadPreference(context.scope, from.key, from.name, context.domain);
  if (!found.ok()) return context.Fail(found.status, from.text, false);
  if (line.count() == 2 && !found.value.is_dictionary()) {
    return context.Fail({PrefError::kNotAKey}, from.text, false);
  }
  Transaction transaction = target.Change();
  if (!line.Has("--replace")) RequireFree(transaction, to);
  transaction.Set(to.key, to.name, found.value);
  const PrefStatus status = transaction.Commit();
  if (status.error == PrefError::kConditionNotMet) {
    return context.Fail(kConditionNotMet, to.text + " already exists, in domain " +
                                              Quoted(target.domain) + "; --replace replaces it");
  }
  if (!status.ok()) return target.Fail(status, to.text, true);
  context.Confirm("copied " + from.text + " to " + to.text);
  return kDone;
}

int CopyOrRename(const Context& context, const CommandLine& line, const char* done,
                 void (Transaction::*change)(const KeyPath&, CAtlString, const KeyPath&,
                                             CAtlString)) {
  // Two words are keys, four are values; three are ambiguous.
  if (line.count() == 3) {
    return context.Fail(
        kUsage, std::string(line.command()->name) + " needs two keys, or a KEY and a NAME twice");
  }
  const bool keys = line.count() == 2;
  const std::optional<Place> from = PlaceAt(line, 0, keys), to = PlaceAt(line, keys ? 1 : 2, keys);
  if (!from || !to) return context.Fail(kUsage, "the domain's top level is not a key");
  if (line.Has("--to-scope") || line.Has("--to-domain")) {
    return CopyToStore(context, line, *from, *to);
  }
  Path moved = PathOf(from->key);
  moved.push_back(NameText(from->name));
  if (change == &Transaction::Rename && IsAtOrBelow(PathOf(to->key), moved)) {
    return context.Fail(kUsage, from->text + " cannot move to " + to->text + ", below itself");
  }
  Transaction transaction = context.Change();
  transaction.RequireKey(keys ? KeyAt(line) : from->key);
  if (!line.Has("--replace")) RequireFree(transaction, *to);
  (transaction.*change)(from->key, from->name, to->key, to->name);
  const PrefStatus status = transaction.Commit();
  if (status.error == PrefError::kConditionNotMet) {
    return context.Fail(kConditionNotMet, to->text + " already exists; --replace replaces it");
  }
  // The first step requires the old key; a later kNotFound means that it has no such entry.
  const bool at_source = status.step == 0 || status.error == PrefError::kNotFound;
  if (!status.ok()) {
    return context.Fail(status, status.step > 0 && !at_source ? to->text : from->text, !at_source);
  }
  context.Confirm(std::string(done) + " " + from->text + " to " + to->text);
  return kDone;
}

}  // namespace

int DeleteKey(const Context& context, const CommandLine& line) {
  const std::string what = KeyText(KeyAt(line));
  const KeyPath key = KeyAt(line);
  if (key.empty()) {
    return context.Fail(kUsage,
                        "the domain's top level is not a key; \"reset\" removes everything in it");
  }
  Transaction transaction = context.Change();
  if (line.Has("--recursive")) {
    transaction.RequireKey(key);
  } else {
    transaction.RequireEmptyKey(key);
  }
  transaction.DeleteKey(key, IfMissing::kFail);
  const PrefStatus status = transaction.Commit();
  if (status.error == PrefError::kKeyNotEmpty) {
    return context.Fail(kUsage,
                        what + " is not empty; --recursive deletes it and everything below it");
  }
  return context.EndRemoval(status, what, "deleted ");
}

int Reset(const Context& context, const CommandLine& line) {
  const std::string what = KeyText(KeyAt(line));
  Transaction transaction = context.Change();
  transaction.ClearKey(KeyAt(line));
  return context.EndRemoval(transaction.Commit(), what, "emptied ");
}

int Rename(const Context& context, const CommandLine& line) {
  return CopyOrRename(context, line, "renamed", &Transaction::Rename);
}

int Copy(const Context& context, const CommandLine& line) {
  return CopyOrRename(context, line, "copied", &Transaction::Copy);
}

}  // namespace orvik::prefstool
