#include "tools/orvikprefs/domains.h"

#include <algorithm>
#include <filesystem>

#include "prefs/reporting.h"

namespace orvik::prefstool {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kEnding = ".plist";
constexpr std::string_view kLockEnding = ".lock.plist";

}  // namespace

std::vector<DomainFile> DomainsOf(int scope) {
  // Any domain has its file in the folder of all; scopes with a dot before the domain keep it.
  const fs::path some = PreferenceFilePath(scope, CAtlString(u"x"));
  const std::string_view dot = some.filename().native().starts_with('.') ? "." : "";
  std::vector<DomainFile> found;
  std::error_code error;
  fs::recursive_directory_iterator entry(some.parent_path(), error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().lexically_relative(some.parent_path()).native();
    std::error_code not_there;
    if (!name.ends_with(kEnding) || name.ends_with(kLockEnding) ||
        name.starts_with('.') != !dot.empty() || !entry->is_regular_file(not_there)) {
      continue;
    }
    found.push_back({name.substr(dot.size(), name.size() - dot.size() - kEnding.size()),
                     entry->path().native(), entry->file_size(not_there)});
  }
  std::sort(found.begin(), found.end(),
            [](const DomainFile& one, const DomainFile& other) { return one.name < other.name; });
  return found;
}

}  // namespace orvik::prefstool
