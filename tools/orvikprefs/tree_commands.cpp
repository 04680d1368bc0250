#include <algorithm>
#include <cstdlib>
#include <functional>
#include <ostream>

#include "host/file_watch.h"
#include "prefs/reporting.h"
#include "text/case_and_spelling.h"
#include "text/characters.h"
#include "text/shown_text.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

constexpr const char* kKeyColour = "1;34";
constexpr const char* kTypeColour = "2";

PrefResult<CFDictionaryRef> CopyKey(const Context& context, const CommandLine& line) {
  return CopyPreferenceKey(context.scope, KeyAt(line), context.domain);
}

// The columns that harmless UTF-8 takes on a terminal.
std::size_t Width(std::string_view utf8) {
  const std::optional<CAtlString> text = FromUtf8(utf8);
  return text ? static_cast<std::size_t>(ColumnsOf(text->View())) : utf8.size();
}

// The tree for people: names of one level aligned, keys before their entries.
void PrintTree(const Context& context, CFDictionaryRef tree) {
  struct Level {
    std::vector<Entry> entries;
    std::size_t width;  // of the longest name of a value, in columns
    std::size_t next = 0;
  };
  std::vector<Level> levels;
  const auto enter = [&levels](CFDictionaryRef dictionary) {
    Level level = {SortedEntries(dictionary), 0};
    for (const Entry& entry : level.entries) {
      if (IsDictionary(entry.value)) continue;
      level.width = std::max(level.width, Width(Escaped(ToUtf8(entry.name))));
    }
    levels.push_back(std::move(level));
  };
  enter(tree);
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.entries.size()) {
      levels.pop_back();
      continue;
    }
    const Entry& entry = level.entries[level.next++];
    const std::string name = Escaped(ToUtf8(entry.name));
    *context.out << std::string((levels.size() - 1) * 2, ' ');
    if (IsDictionary(entry.value)) {
      *context.out << context.Coloured(name + "/", kKeyColour) << '\n';
      enter(static_cast<CFDictionaryRef>(entry.value));
    } else {
      *context.out << name << std::string(level.width - Width(name), ' ') << "  "
                   << context.Coloured(TypeName(entry.value), kTypeColour) << "  "
                   << Escaped(ValueText(entry.value)) << '\n';
    }
  }
}

}  // namespace

int List(const Context& context, const CommandLine& line) {
  const PrefResult<CFDictionaryRef> found = CopyKey(context, line);
  if (!found.ok()) return FailToReadKey(context, found.status, KeyAt(line));
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
  if (!found.ok()) return FailToReadKey(context, found.status, KeyAt(line));
  if (context.json) {
    *context.out << JsonText(found.value.Get(), JsonWriter::Layout::kIndented) << '\n';
  } else if (context.terminal) {
    PrintTree(context, found.value);
  } else {
    const Path above = PathOf(KeyAt(line));
    EntryWalk walk(found.value);
    while (walk.Next()) {
      if (!walk.is_leaf()) continue;
      const std::string path = JoinedPath(PathBelow(above, walk.names()));
      context.Record({path, TypeName(walk.value()), ValueText(walk.value())}, 0);
    }
  }
  return kDone;
}

namespace {

// Whether the whole text is as the pattern says: "*" stands for any units, "?" for one character.
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

// The text to find, and where.
class Search {
 public:
  explicit Search(const CommandLine& line)
      : text_(NameAt(line, 0).View()),
        wanted_(NameAt(line, 0).CreateCFStringRef(kCFAllocatorDefault)),
        type_(line.Value("--type")),
        in_names_(line.Has("--names") || !line.Has("--values")),
        in_values_(line.Has("--values") || !line.Has("--names")),
        is_pattern_(line.Has("--pattern")),
        ignores_case_(line.Has("--ignore-case")) {
    if (is_pattern_ && ignores_case_) text_ = FoldCase(text_);
  }

  bool Matches(const Entry& entry) const {
    if (!type_.empty() && type_ != TypeName(entry.value)) return false;
    if (in_names_ && MatchesText(CAtlString(entry.name))) return true;
    if (!in_values_ || IsDictionary(entry.value)) return false;
    const std::optional<CAtlString> value = FromUtf8(ValueText(entry.value));
    return value && MatchesText(*value);
  }

 private:
  bool MatchesText(const CAtlString& where) const {
    if (is_pattern_) {
      return IsLike(ignores_case_ ? FoldCase(where.View()) : std::u16string(where.View()), text_);
    }
    if (text_.empty()) return true;
    const CAutoCFRelease<CFStringRef> units(where.CreateCFStringRef(kCFAllocatorDefault));
    return CFStringFindWithOptions(units, wanted_, CFRangeMake(0, where.GetLength()),
                                   ignores_case_ ? kCFCompareCaseInsensitive : 0, nullptr) != 0;
  }

  std::u16string text_;
  CAutoCFRelease<CFStringRef> wanted_;
  std::string type_;
  bool in_names_, in_values_, is_pattern_, ignores_case_;
};

struct Match {
  Path path;
  CFPropertyListRef value;
};

}  // namespace

int Find(const Context& context, const CommandLine& line) {
  const KeyPath key = KeyAt(line, 1);
  const PrefResult<CFDictionaryRef> root = CopyPreferenceKey(context.scope, key, context.domain);
  if (!root.ok()) return FailToReadKey(context, root.status, key);
  std::vector<Match> found;
  const Search search(line);
  const Path above = PathOf(key);
  EntryWalk walk(root.value);
  while (walk.Next()) {
    if (search.Matches({walk.names().back(), walk.value()})) {
      found.push_back({PathBelow(above, walk.names()), walk.value()});
    }
  }
  if (context.json) {
    JsonWriter rows;
    rows.BeginArray();
    for (const Match& match : found) {
      rows.BeginObject().Name("path").Texts(match.path).Name("type").Text(TypeName(match.value));
      if (!IsDictionary(match.value)) WriteJson(rows.Name("value"), match.value);
      rows.EndObject();
    }
    *context.out << rows.EndArray().json() << '\n';
  } else {
    for (const Match& match : found) {
      const std::string value = IsDictionary(match.value) ? "" : ValueText(match.value);
      context.Record({JoinedPath(match.path), TypeName(match.value), value}, 0);
    }
  }
  return found.empty() ? kNotFound : kDone;
}

namespace {

// One line of JSON a change, so that a reader needs no end of the list.
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

// A reader that starts its changes now misses none.
void PrintReady(const Context& context, const CommandLine& line, const std::string& file) {
  if (!line.Has("--ready")) {
    context.Confirm("watching " + Quoted(file) + "; Ctrl-C ends it");
  } else if (context.json) {
    JsonWriter form(JsonWriter::Layout::kOneLine);
    *context.out << form.BeginObject().Name("ready").Text(file).EndObject().json() << '\n';
  } else {
    context.Record({"ready", file});
  }
}

}  // namespace

int Watch(const Context& context, const CommandLine& line) {
  const std::string file = PreferenceFilePath(context.scope, context.domain);
  if (file.empty()) {
    return context.Fail(kUsage, "the domain " + Quoted(context.domain) + " cannot name a file");
  }
  const KeyPath key = *ParseKey(line.Argument(0));
  const int count = std::atoi(line.Value("--count", "0").c_str());
  // Watching begins before the first reading, so that no change falls between them.
  host::FileWatch watch(file);
  if (!watch.ok()) return context.Fail(kNotFound, Quoted(file) + " cannot be watched");

  CAutoCFRelease<CFDictionaryRef> last;
  bool first = true;
  int printed = 0;
  do {
    PrefResult<CFDictionaryRef> now = CopyPreferenceKey(context.scope, key, context.domain);
    const PrefError error = now.status.error;
    // A file that is damaged at this moment says nothing about the values: the last ones hold.
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
    first = false;
    if (count > 0 && printed >= count) return kDone;
  } while (watch.Wait(-1));
  return context.Fail(kNotFound, Quoted(file) + " can no longer be watched");
}

}  // namespace orvik::prefstool
