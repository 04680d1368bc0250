#include <algorithm>
#include <functional>
#include <ostream>

#include "prefs/reporting.h"
#include "text/columns.h"
#include "tools/orvikprefs/address.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

constexpr const char* kKeyColour = "1;34";
constexpr const char* kTypeColour = "2";

PrefResult<CFDictionaryRef> CopyKey(const Context& context, const CommandLine& line) {
  return CopyPreferenceKey(context.scope, KeyAt(line), context.domain);
}

int FailToRead(const Context& context, const PrefStatus& status, const KeyPath& key) {
  return context.Fail(status, KeyText(key), false);
}

// The columns that harmless UTF-8 takes on a terminal.
std::size_t Width(std::string_view utf8) {
  const std::optional<CAtlString> text = FromUtf8(utf8);
  return text ? static_cast<std::size_t>(ColumnsOf(text->View())) : utf8.size();
}

// A level of the tree for people: names of one level aligned, keys before what lies in them.
void PrintLevel(const Context& context, CFDictionaryRef dictionary, int depth) {
  const std::vector<Entry> entries = SortedEntries(dictionary);
  std::size_t width = 0;
  for (const Entry& entry : entries) {
    if (!IsDictionary(entry.value)) width = std::max(width, Width(Escaped(ToUtf8(entry.name))));
  }
  const std::string indent(static_cast<size_t>(depth) * 2, ' ');
  for (const Entry& entry : entries) {
    const std::string name = Escaped(ToUtf8(entry.name));
    if (IsDictionary(entry.value)) {
      *context.out << indent << context.Coloured(name + "/", kKeyColour) << '\n';
      PrintLevel(context, static_cast<CFDictionaryRef>(entry.value), depth + 1);
    } else {
      *context.out << indent << name << std::string(width - Width(name), ' ') << "  "
                   << context.Coloured(TypeName(entry.value), kTypeColour) << "  "
                   << Escaped(ValueText(entry.value)) << '\n';
    }
  }
}

// Every value with its path, and every key that holds nothing.
void ForEachValue(CFDictionaryRef dictionary, Path& path,
                  const std::function<void(const Path&, CFPropertyListRef)>& visit) {
  for (const Entry& entry : SortedEntries(dictionary)) {
    path.push_back(ToUtf8(entry.name));
    const bool key = IsDictionary(entry.value);
    if (!key || CFDictionaryGetCount(static_cast<CFDictionaryRef>(entry.value)) == 0) {
      visit(path, entry.value);
    }
    if (key) ForEachValue(static_cast<CFDictionaryRef>(entry.value), path, visit);
    path.pop_back();
  }
}

}  // namespace

int List(const Context& context, const CommandLine& line) {
  const PrefResult<CFDictionaryRef> found = CopyKey(context, line);
  if (!found.ok()) return FailToRead(context, found.status, KeyAt(line));
  const std::vector<Entry> entries = SortedEntries(found.value);
  if (context.json) {
    JsonWriter names;
    names.BeginArray();
    for (const Entry& entry : entries) names.Text(ToUtf8(entry.name));
    *context.out << names.EndArray().json() << '\n';
    return kDone;
  }
  for (const Entry& entry : entries) {
    if (context.terminal && IsDictionary(entry.value)) {
      *context.out << context.Coloured(Escaped(ToUtf8(entry.name)) + "/", kKeyColour) << '\n';
    } else {
      context.Item(ToUtf8(entry.name));
    }
  }
  return kDone;
}

int Tree(const Context& context, const CommandLine& line) {
  const PrefResult<CFDictionaryRef> found = CopyKey(context, line);
  if (!found.ok()) return FailToRead(context, found.status, KeyAt(line));
  if (context.json) {
    *context.out << JsonText(found.value.Get(), JsonWriter::Layout::kIndented) << '\n';
  } else if (context.terminal) {
    PrintLevel(context, found.value, 0);
  } else {
    Path path = PathOf(KeyAt(line));
    ForEachValue(found.value, path, [&](const Path& where, CFPropertyListRef value) {
      context.Record({JoinedPath(where), TypeName(value), ValueText(value)}, 0);
    });
  }
  return kDone;
}

}  // namespace orvik::prefstool
