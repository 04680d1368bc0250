#include "tools/orvikprefs/differences.h"

#include <ostream>
#include <utility>

#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

std::vector<Difference> Differences(const Value& before, const Value& after, const Path& path,
                                    plist::OneSidedKeys one_sided) {
  std::vector<Difference> found;
  for (plist::Difference& difference : plist::FindDifferences(before, after, one_sided)) {
    found.push_back({path, std::move(difference.before), std::move(difference.after)});
    for (const std::u16string& name : difference.path) found.back().path.push_back(NameText(name));
  }
  return found;
}

void AddChange(Transaction& transaction, const KeyPath& key, const CAtlString& name,
               const Value& value) {
  if (value) {
    transaction.Set(key, name, value);
  } else {
    transaction.Delete(key, name);
  }
}

// One step of the transaction for each difference, so that changes of another process elsewhere in
// the tree are kept. A key on only one side is one step.
void AddTreeChanges(Transaction& transaction, const KeyPath& key, const Value& before,
                    const Value& after) {
  std::vector<CAtlString> above;
  for (int i = 1; i <= key.count(); ++i) above.push_back(key.name(i));
  for (const plist::Difference& difference :
       plist::FindDifferences(before, after, plist::OneSidedKeys::kWhole)) {
    std::vector<CAtlString> names = above;
    names.insert(names.end(), difference.path.begin(), difference.path.end() - 1);
    AddChange(transaction, KeyPath::FromNames(std::move(names)), CAtlString(difference.path.back()),
              difference.after);
  }
}

// The top of a domain is always a key.
void ReplaceKey(Transaction& transaction, const KeyPath& key, const Value& entries,
                ReplaceKeys replace) {
  if (key.empty()) {
    transaction.ReplaceDomain(entries);
  } else {
    transaction.Set(key.Parent(), key.name(key.count()), entries, replace);
  }
}

namespace {

struct KindOfDifference {
  const char* sign;
  const char* word;
  const char* colour;
};

const KindOfDifference& KindOf(const Difference& difference) {
  static constexpr KindOfDifference kKinds[] = {
      {"+", "added", "32"}, {"-", "removed", "31"}, {"~", "changed", "33"}};
  return kKinds[static_cast<int>(difference.kind())];
}

}  // namespace

// For people: control characters are escaped.
std::string TypeAndValue(const Value& value, bool hide_value) {
  if (!value) return "(nothing)";
  const std::string type = TypeName(value);
  return hide_value ? type : type + " " + Escaped(ValueText(value));
}

std::string LineFor(const Difference& difference, bool hide_values) {
  std::string line =
      std::string(KindOf(difference).sign) + " " + JoinedPath(difference.path) + " = ";
  if (difference.kind() == Difference::Kind::kChanged) {
    line += TypeAndValue(difference.before, hide_values) + " -> ";
  }
  return line + TypeAndValue(difference.after ? difference.after : difference.before, hide_values);
}

// As JSON; in colours on a terminal; else as fields: the type and the value of both sides. With
// hidden values the types are still shown. If `backup` is not null, the JSON form is an object with
// the changes and the name of the backup.
void PrintDifferences(const Context& context, const std::vector<Difference>& differences,
                      const std::string* backup) {
  if (context.json) {
    JsonWriter writer;
    if (backup != nullptr) writer.BeginObject().Name("changes");
    writer.BeginArray();
    for (const Difference& difference : differences) {
      WriteDifference(writer, difference, context.hide_values);
    }
    writer.EndArray();
    if (backup != nullptr && !backup->empty()) writer.Name("backup").File(*backup);
    if (backup != nullptr) writer.EndObject();
    *context.out << writer.json() << '\n';
    return;
  }
  for (const Difference& difference : differences) {
    const KindOfDifference& kind = KindOf(difference);
    if (context.terminal) {
      *context.out << context.Coloured(LineFor(difference, context.hide_values), kind.colour)
                   << '\n';
      continue;
    }
    std::vector<std::string> fields = {kind.sign, JoinedPath(difference.path)};
    for (const Value& side : {difference.before, difference.after}) {
      fields.emplace_back(TypeName(side));
      fields.push_back(side && !context.hide_values ? ValueText(side) : "");
    }
    context.Record(fields, 1);
  }
}

void WriteDifference(JsonWriter& writer, const Difference& difference, bool hide_values) {
  writer.BeginObject().Name("change").Text(KindOf(difference).word);
  writer.Name("path").Texts(difference.path);
  const auto write_side = [&](const char* name, const Value& value) {
    if (value && !hide_values) WriteJson(writer.Name(name), value);
  };
  write_side("before", difference.before);
  write_side("after", difference.after);
  writer.EndObject();
}

}  // namespace orvik::prefstool
