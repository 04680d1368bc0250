#include "prefs/transaction.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

std::string KeyText(const std::string& key) {
  return "key " + Quoted(key);
}

// A value or key by the key above it and its name there.
struct Place {
  KeyPath key;
  CAtlString name;
  std::string text;
};

// "KEY NAME" at these arguments, or the last name of "KEY".
std::optional<Place> PlaceAt(const CommandLine& line, std::size_t index, bool is_key) {
  const std::string& key_text = line.Argument(index);
  const KeyPath key = *ParseKey(key_text);
  if (!is_key) {
    const std::string name = line.Argument(index + 1);
    return Place{key, *FromUtf8(name), Quoted(name) + " in " + KeyText(key_text)};
  }
  if (key.empty()) return std::nullopt;
  return Place{key.Parent(), key.name(key.count()), KeyText(key_text)};
}

int CopyOrRename(const Context& context, const CommandLine& line, const char* done,
                 void (Transaction::*change)(const KeyPath&, CAtlString, const KeyPath&,
                                             CAtlString)) {
  // Two words are keys, four are values; of three the grammar cannot know.
  if (line.count() == 3) {
    return context.Fail(
        kUsage, std::string(line.command()->name) + " needs two keys, or a KEY and a NAME twice");
  }
  const bool keys = line.count() == 2;
  const std::optional<Place> from = PlaceAt(line, 0, keys), to = PlaceAt(line, keys ? 1 : 2, keys);
  if (!from || !to) return context.Fail(kUsage, "the domain's top level is no key");
  Transaction transaction = context.Change();
  if (keys) {
    transaction.RequireKey(*ParseKey(line.Argument(0)));
  }
  const bool replace = line.Has("--replace");
  if (!replace) {
    transaction.RequireThat(to->key, to->name, [](CFTypeRef there) { return there == nullptr; });
  }
  (transaction.*change)(from->key, from->name, to->key, to->name);
  const PrefStatus status = transaction.Commit();
  if (status.error == PrefError::kConditionNotMet) {
    return context.Fail(kConditionNotMet, to->text + " is there already; --replace replaces it");
  }
  const bool at_target = status.error == PrefError::kNotAKey && status.step > 0;
  if (!status.ok()) return context.Fail(status, at_target ? to->text : from->text, at_target);
  context.Confirm(std::string(done) + " " + from->text + " to " + to->text);
  return kDone;
}

}  // namespace

int DeleteKey(const Context& context, const CommandLine& line) {
  const std::string what = KeyText(line.Argument(0));
  const KeyPath key = *ParseKey(line.Argument(0));
  if (key.empty()) {
    return context.Fail(kUsage,
                        "the domain's top level is no key; \"reset\" removes all that lies in it");
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
    return context.Fail(kUsage, what + " is not empty; --recursive deletes it with all below it");
  }
  if (!status.ok()) return context.Fail(status, what, false);
  context.Confirm("deleted " + what);
  return kDone;
}

int Reset(const Context& context, const CommandLine& line) {
  const std::string what = KeyText(line.Argument(0));
  Transaction transaction = context.Change();
  transaction.ClearKey(*ParseKey(line.Argument(0)));
  const PrefStatus status = transaction.Commit();
  if (!status.ok()) return context.Fail(status, what, false);
  context.Confirm("emptied " + what);
  return kDone;
}

int Rename(const Context& context, const CommandLine& line) {
  return CopyOrRename(context, line, "renamed", &Transaction::Rename);
}

int Copy(const Context& context, const CommandLine& line) {
  return CopyOrRename(context, line, "copied", &Transaction::Copy);
}

}  // namespace orvik::prefstool
