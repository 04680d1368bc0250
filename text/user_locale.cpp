#include "text/user_locale.h"

#include <cstdlib>
#include <initializer_list>
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

// The value of the first variable that is set and not empty, else "".
const char* FirstSet(std::initializer_list<const char*> variables) {
  for (const char* const variable : variables) {
    const char* const value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "";
}

}  // namespace

const char* CurrentLocaleIdentifier(LocaleCategory category) {
  const char* const value = FirstSet({"LC_ALL", kVariables[static_cast<size_t>(category)], "LANG"});
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
