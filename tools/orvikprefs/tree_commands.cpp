#include <algorithm>
#include <cstdlib>
#include <ostream>

#include "host/file_watch.h"
#include "prefs/reporting.h"
#include "text/case_and_spelling.h"
#include "text/characters.h"
#include "text/shown_text.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

constexpr const char* kKeyColour = "1;34";
constexpr const char* kTypeColour = "2";

PrefValue ReadKey(const Context& context, const CommandLine& line) {
  return ReadPreferenceKey(context.scope, KeyAt(line), context.domain);
}

// The columns of harmless UTF-8 on a terminal.
std::size_t Width(std::string_view utf8) {
  const std::optional<CAtlString> text = FromUtf8(utf8);
  return text ? static_cast<std::size_t>(ColumnsOf(text->View())) : utf8.size();
}

std::string ShownName(const plist::Text& name) {
  return Escaped(NameText(name));
}

// The width of the longest name of a value in the dictionary, in columns.
std::size_t WidthOfNames(const Value& dictionary) {
  std::size_t width = 0;
  for (const Value::Entry& entry : dictionary.entries()) {
    if (!entry.value.is_dictionary()) width = std::max(width, Width(ShownName(entry.key.text())));
  }
  return width;
}

// Prints the tree for people: names of one level are aligned.
void PrintTree(const Context& context, const Value& tree) {
  std::vector<std::size_t> widths = {WidthOfNames(tree)};  // of the level and its parents
  EntryWalk walk(tree);
  while (walk.Next()) {
    const std::string name = ShownName(walk.name());
    widths.resize(walk.path().size());
    *context.out << std::string((widths.size() - 1) * 2, ' ');
    if (walk.value().is_dictionary()) {
      *context.out << context.Coloured(name + "/", kKeyColour) << '\n';
      widths.push_back(WidthOfNames(walk.value()));
    } else {
      *context.out << name << std::string(widths.back() - Width(name), ' ') << "  "
                   << context.Coloured(TypeName(walk.value()), kTypeColour) << "  "
                   << Escaped(ValueText(walk.value())) << '\n';
    }
  }
}

// Whether the whole text matches the pattern: "*" stands for any units, "?" for one character.
// After a mismatch the last star takes one unit more; earlier ones need not, so the time is at most
// the product of the two lengths.
bool IsLike(std::u16string_view text, std::u16string_view pattern) {
  std::size_t at = 0, in_pattern = 0, star = std::u16string_view::npos, after_star = 0;
  while (at < text.size()) {
    const char16_t unit = in_pattern < pattern.size() ? pattern[in_pattern] : u'\0';
    if (in_pattern < pattern.size() && unit == u'*') {
      star = in_pattern++;
      after_star = at;
    } else if (in_pattern < pattern.size() && unit == u'?') {
      at += CharacterLength(text.substr(at));
      ++in_pattern;
    } else if (in_pattern < pattern.size() && unit == text[at]) {
      ++at;
      ++in_pattern;
    } else if (star != std::u16string_view::npos) {
      in_pattern = star + 1;
      at = ++after_star;
    } else {
      return false;
    }
  }
  while (in_pattern < pattern.size() && pattern[in_pattern] == u'*') ++in_pattern;
  return in_pattern == pattern.size();
}

// The text to find, and where, from the options of a line. Without --names and --values it searches
// both. A string matches by its text, other values by the output of `get`, a key by its name.
class Search {
 public:
  explicit Search(const CommandLine& line)
      : text_(NameAt(line, 0).View()),
        type_(line.Value("--type")),
        in_names_(line.Has("--names") || !line.Has("--values")),
        in_values_(line.Has("--values") || !line.Has("--names")),
        is_pattern_(line.Has("--pattern")),
        ignores_case_(line.Has("--ignore-case")) {
    if (ignores_case_) text_ = FoldCase(text_);
  }

  bool Matches(const plist::Text& name, const Value& value) const {
    if (!type_.empty() && type_ != TypeName(value)) return false;
    if (in_names_ && MatchesText(name.ToUnits())) return true;
    if (!in_values_ || value.is_dictionary()) return false;
    return MatchesText(value.is_string() ? value.text().ToUnits()
                                         : Value::FromUtf8(ValueText(value))->text().ToUnits());
  }

 private:
  bool MatchesText(std::u16string where) const {
    if (ignores_case_) where = FoldCase(where);
    return is_pattern_ ? IsLike(where, text_) : where.find(text_) != std::u16string::npos;
  }

  std::u16string text_;
  std::string type_;
  bool in_names_, in_values_, is_pattern_, ignores_case_;
};

// One line of JSON for each change, so that a reader need not wait for the end of a list.
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

// No change after this line is missed.
void PrintReady(const Context& context, const CommandLine& line, const std::string& file) {
  if (!line.Has("--ready")) {
    context.Confirm("watching " + Quoted(file) + "; Ctrl-C ends it");
  } else if (context.json) {
    JsonWriter form(JsonWriter::Layout::kOneLine);
    *context.out << form.BeginObject().Name("ready").File(file).EndObject().json() << '\n';
  } else {
    context.Record({"ready", file});
  }
}

}  // namespace

int List(const Context& context, const CommandLine& line) {
  const PrefValue found = ReadKey(context, line);
  if (!found.ok()) return FailToReadKey(context, found.status, KeyAt(line));
  const std::vector<const Value::Entry*> entries = plist::SortedEntries(found.value);
  if (context.json) {
    JsonWriter names;
    names.BeginArray();
    for (const Value::Entry* entry : entries) names.Text(NameText(entry->key.text()));
    *context.out << names.EndArray().json() << '\n';
    return kDone;
  }
  for (const Value::Entry* entry : entries) {
    if (context.terminal && entry->value.is_dictionary()) {
      *context.out << context.Coloured(ShownName(entry->key.text()) + "/", kKeyColour) << '\n';
    } else {
      context.Item(NameText(entry->key.text()));
    }
  }
  return kDone;
}

int Tree(const Context& context, const CommandLine& line) {
  const PrefValue found = ReadKey(context, line);
  if (!found.ok()) return FailToReadKey(context, found.status, KeyAt(line));
  if (context.json) {
    *context.out << JsonText(found.value, JsonWriter::Layout::kIndented) << '\n';
  } else if (context.terminal) {
    PrintTree(context, found.value);
  } else {
    EntryWalk walk(found.value, PathOf(KeyAt(line)));
    while (walk.Next()) {
      if (!walk.is_leaf()) continue;
      context.Record({JoinedPath(walk.path()), TypeName(walk.value()), ValueText(walk.value())}, 0);
    }
  }
  return kDone;
}

int Find(const Context& context, const CommandLine& line) {
  const KeyPath key = KeyAt(line, 1);
  const PrefValue root = ReadPreferenceKey(context.scope, key, context.domain);
  if (!root.ok()) return FailToReadKey(context, root.status, key);
  const Search search(line);
  JsonWriter rows;
  rows.BeginArray();
  bool is_found = false;
  EntryWalk walk(root.value, PathOf(key));
  while (walk.Next()) {
    const Value& value = walk.value();
    if (!search.Matches(walk.name(), value)) continue;
    is_found = true;
    if (context.json) {
      rows.BeginObject().Name("path").Texts(walk.path()).Name("type").Text(TypeName(value));
      if (!value.is_dictionary()) WriteJson(rows.Name("value"), value);
      rows.EndObject();
    } else {
      const std::string text = value.is_dictionary() ? "" : ValueText(value);
      context.Record({JoinedPath(walk.path()), TypeName(value), text}, 0);
    }
  }
  if (context.json) *context.out << rows.EndArray().json() << '\n';
  return is_found ? kDone : kNotFound;
}

int Watch(const Context& context, const CommandLine& line) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  const KeyPath key = *ParseKey(line.Argument(0));
  const int count = std::atoi(line.Value("--count", "0").c_str());
  // Watching begins before the first reading, so that no change is missed between them.
  host::FileWatch watch(file);
  if (!watch.ok()) return context.Fail(kNotFound, Quoted(file) + " cannot be watched");

  Value last;
  bool first = true;
  int printed = 0;
  do {
    PrefValue now = ReadPreferenceKey(context.scope, key, context.domain);
    const PrefError error = now.status.error;
    // The values of a damaged file are unknown: the last known ones stay.
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
    if (!context.out->good()) return kNotSaved;  // Run prints the message
    first = false;
    if (count > 0 && printed >= count) return kDone;
  } while (watch.Wait(-1));
  return context.Fail(kNotFound, Quoted(file) + " can no longer be watched");
}

}  // namespace orvik::prefstool
