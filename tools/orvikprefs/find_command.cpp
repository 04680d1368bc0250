#include <ostream>

#include "prefs/reporting.h"
#include "text/case_mapping.h"
#include "tools/orvikprefs/address.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

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
      const bool is_pair = (text[at] & 0xFC00) == 0xD800 && at + 1 < text.size() &&
                           (text[at + 1] & 0xFC00) == 0xDC00;
      at += is_pair ? 2 : 1;
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

// What is looked for, and where.
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

void FindBelow(CFDictionaryRef dictionary, const Search& search, Path& path,
               std::vector<Match>& found) {
  for (const Entry& entry : SortedEntries(dictionary)) {
    path.push_back(ToUtf8(entry.name));
    if (search.Matches(entry)) found.push_back({path, entry.value});
    if (IsDictionary(entry.value)) {
      FindBelow(static_cast<CFDictionaryRef>(entry.value), search, path, found);
    }
    path.pop_back();
  }
}

}  // namespace

int Find(const Context& context, const CommandLine& line) {
  const KeyPath key = KeyAt(line, 1);
  const PrefResult<CFDictionaryRef> root = CopyPreferenceKey(context.scope, key, context.domain);
  if (!root.ok()) return context.Fail(root.status, KeyText(key), false);
  std::vector<Match> found;
  Path path = PathOf(key);
  FindBelow(root.value, Search(line), path, found);
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

}  // namespace orvik::prefstool
