#include <algorithm>
#include <functional>
#include <ostream>

#include "prefs/key_path.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

constexpr const char* kKeyColour = "1;34";
constexpr const char* kTypeColour = "2";

// The components of a key path.
Path Components(const CAtlString& key) {
  Path path;
  for (int i = 1; i <= GetDirCountFromPath(key); ++i) {
    path.push_back(ToUtf8(GetPreferenceNameFromPath(key, i)));
  }
  return path;
}

PrefResult<CFDictionaryRef> CopyKey(const Context& context, const CAtlString& key) {
  return CopyPreferenceKey(context.scope, key, context.domain);
}

int FailToRead(const Context& context, const PrefStatus& status, const CAtlString& key) {
  return context.Fail(status, "key \"" + Escaped(ToUtf8(key)) + "\"", false);
}

// Characters on a line, near enough for columns: code points.
size_t Width(std::string_view utf8) {
  return static_cast<size_t>(std::count_if(utf8.begin(), utf8.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
  }));
}

// A level of the tree for people: names of one level aligned, keys before what lies in them.
void PrintLevel(const Context& context, CFDictionaryRef dictionary, int depth) {
  const std::vector<Entry> entries = SortedEntries(dictionary);
  size_t width = 0;
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

class Matcher {
 public:
  Matcher(const CAtlString& text, bool ignore_case)
      : text_(text.CreateCFStringRef(kCFAllocatorDefault)),
        options_(ignore_case ? kCFCompareCaseInsensitive : 0) {}

  bool Matches(CFStringRef where) const {
    return CFStringFindWithOptions(where, text_, CFRangeMake(0, CFStringGetLength(where)), options_,
                                   nullptr);
  }

  bool Matches(const std::string& where) const {
    const std::optional<CAtlString> text = FromUtf8(where);
    const CAutoCFRelease<CFStringRef> units(text ? text->CreateCFStringRef(kCFAllocatorDefault)
                                                 : nullptr);
    return units && Matches(units.Get());
  }

 private:
  CAutoCFRelease<CFStringRef> text_;
  CFOptionFlags options_;
};

struct Match {
  Path path;
  CFPropertyListRef value;
};

void FindBelow(CFDictionaryRef dictionary, const Matcher& matcher, Path& path,
               std::vector<Match>& found) {
  for (const Entry& entry : SortedEntries(dictionary)) {
    path.push_back(ToUtf8(entry.name));
    const bool key = IsDictionary(entry.value);
    if (matcher.Matches(entry.name) || (!key && matcher.Matches(ValueText(entry.value)))) {
      found.push_back({path, entry.value});
    }
    if (key) FindBelow(static_cast<CFDictionaryRef>(entry.value), matcher, path, found);
    path.pop_back();
  }
}

}  // namespace

int List(const Context& context, const CAtlString& key) {
  const PrefResult<CFDictionaryRef> found = CopyKey(context, key);
  if (!found.ok()) return FailToRead(context, found.status, key);
  Json names = Json::array();
  for (const Entry& entry : SortedEntries(found.value)) {
    const std::string name = ToUtf8(entry.name);
    if (context.json) {
      names.push_back(name);
    } else if (context.terminal && !context.null_separated && IsDictionary(entry.value)) {
      *context.out << context.Coloured(Escaped(name) + "/", kKeyColour) << '\n';
    } else {
      context.Item(name);
    }
  }
  if (context.json) *context.out << JsonText(names, true) << '\n';
  return kDone;
}

int Tree(const Context& context, const CAtlString& key) {
  const PrefResult<CFDictionaryRef> found = CopyKey(context, key);
  if (!found.ok()) return FailToRead(context, found.status, key);
  if (context.json) {
    *context.out << JsonText(ToJson(found.value.Get()), true) << '\n';
  } else if (context.terminal && !context.null_separated) {
    PrintLevel(context, found.value, 0);
  } else {
    Path path = Components(key);
    ForEachValue(found.value, path, [&](const Path& where, CFPropertyListRef value) {
      context.Record({JoinedPath(where), TypeName(value), ValueText(value)});
    });
  }
  return kDone;
}

int Find(const Context& context, const CAtlString& text, bool ignore_case) {
  const PrefResult<CFDictionaryRef> domain = CopyDomain(context.scope, context.domain);
  if (!domain.ok()) return FailToRead(context, domain.status, CAtlString());
  std::vector<Match> found;
  Path path;
  FindBelow(domain.value, Matcher(text, ignore_case), path, found);
  Json rows = Json::array();
  for (const Match& match : found) {
    const char* type = TypeName(match.value);
    if (context.json) {
      Json row = {{"path", match.path}, {"type", type}};
      if (!IsDictionary(match.value)) row["value"] = ToJson(match.value);
      rows.push_back(std::move(row));
    } else {
      const std::string value = IsDictionary(match.value) ? "" : ValueText(match.value);
      context.Record({JoinedPath(match.path), type, value});
    }
  }
  if (context.json) *context.out << JsonText(rows, true) << '\n';
  return found.empty() ? kNotFound : kDone;
}

}  // namespace orvik::prefstool
