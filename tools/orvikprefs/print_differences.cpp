#include "tools/orvikprefs/print_differences.h"

#include <ostream>

#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

struct KindOfDifference {
  const char* sign;
  const char* word;
  const char* colour;
};

const KindOfDifference& KindOf(const Difference& difference) {
  static constexpr KindOfDifference kKinds[] = {
      {"+", "added", "32"}, {"-", "removed", "31"}, {"~", "changed", "33"}};
  return kKinds[static_cast<int>(difference.kind)];
}

std::string TypeAndValue(const Context& context, CFPropertyListRef value) {
  const std::string type = TypeName(value);
  return context.hide_values ? type : type + " " + Escaped(ValueText(value));
}

}  // namespace

void PrintDifferences(const Context& context, const std::vector<Difference>& differences) {
  if (context.json) {
    JsonWriter writer;
    writer.BeginArray();
    for (const Difference& difference : differences) {
      WriteDifference(writer, difference, context.hide_values);
    }
    *context.out << writer.EndArray().json() << '\n';
    return;
  }
  for (const Difference& difference : differences) {
    const KindOfDifference& kind = KindOf(difference);
    if (context.terminal) {
      std::string line = std::string(kind.sign) + " " + JoinedPath(difference.path) + " = ";
      if (difference.kind == Difference::Kind::kChanged) {
        line += TypeAndValue(context, difference.before) + " -> ";
      }
      line +=
          TypeAndValue(context, difference.after != nullptr ? difference.after : difference.before);
      *context.out << context.Coloured(line, kind.colour) << '\n';
      continue;
    }
    std::vector<std::string> fields = {kind.sign, JoinedPath(difference.path)};
    for (const CFPropertyListRef side : {difference.before, difference.after}) {
      fields.push_back(side != nullptr ? TypeName(side) : "");
      fields.push_back(side != nullptr && !context.hide_values ? ValueText(side) : "");
    }
    context.Record(fields, 1);
  }
}

void WriteDifference(JsonWriter& writer, const Difference& difference, bool hide_values) {
  writer.BeginObject().Name("change").Text(KindOf(difference).word);
  writer.Name("path").Texts(difference.path);
  const auto write_side = [&](const char* name, CFPropertyListRef value) {
    if (value != nullptr && !hide_values) WriteJson(writer.Name(name), value);
  };
  write_side("before", difference.before);
  write_side("after", difference.after);
  writer.EndObject();
}

}  // namespace orvik::prefstool
