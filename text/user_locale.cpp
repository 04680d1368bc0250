#include "text/user_locale.h"

#include <cstdlib>
#include <iterator>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace orvik {

namespace {

constexpr const char* kVariables[] = {"LC_CTYPE", "LC_COLLATE", "LC_TIME"};
constexpr size_t kCategories = std::size(kVariables);

// The one copy of the identifier in a variable's value.
const char* Identifier(std::string_view value) {
  value = value.substr(0, value.find('.'));
  if (value == "C" || value == "POSIX") value = {};
  static std::mutex guard;
  static auto* const known = new std::set<std::string, std::less<>>;
  const std::lock_guard lock(guard);
  const auto found = known->find(value);
  return (found != known->end() ? found : known->emplace(value).first)->c_str();
}

}  // namespace

const char* CurrentLocaleIdentifier(LocaleCategory category) {
  const char* value = "";
  for (const char* variable : {"LC_ALL", kVariables[static_cast<size_t>(category)], "LANG"}) {
    const char* const set = std::getenv(variable);
    if (set == nullptr || *set == '\0') continue;
    value = set;
    break;
  }
  // Most calls find what the last one found: the text is compared, not looked up.
  struct Last {
    std::string value;
    const char* identifier = nullptr;
  };
  thread_local Last last[kCategories];
  Last& found = last[static_cast<size_t>(category)];
  if (found.identifier == nullptr || found.value != value) found = {value, Identifier(value)};
  return found.identifier;
}

}  // namespace orvik
