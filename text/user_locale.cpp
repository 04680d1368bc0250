#include "text/user_locale.h"

#include <unistd.h>

#include <cstring>
#include <iterator>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace orvik {

namespace {

constexpr const char* kVariables[] = {"LC_CTYPE", "LC_COLLATE", "LC_TIME"};
constexpr size_t kCategories = std::size(kVariables);

// What one walk over the environment found, and by what it is seen that nothing changed since: a
// variable that is set anew has another entry, one that is added stands at the end, and one that is
// removed moves those after it.
struct Finding {
  char** environment = nullptr;
  size_t size = 0;
  const char* last_entry = nullptr;
  size_t index = 0;
  const char* entry = nullptr;  // null when none is set
  std::string value;
  const char* identifier = nullptr;

  bool HoldsStill() const {
    return identifier != nullptr && environ == environment && environment != nullptr &&
           environment[size] == nullptr && (size == 0 || environment[size - 1] == last_entry) &&
           (entry == nullptr || (environment[index] == entry && value == ValueOf(entry)));
  }

  static const char* ValueOf(const char* entry) { return std::strchr(entry, '=') + 1; }
};

bool IsSet(const char* entry, std::string_view name) {
  return std::strncmp(entry, name.data(), name.size()) == 0 && entry[name.size()] == '=' &&
         entry[name.size() + 1] != 0;
}

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

Finding Find(std::string_view variable) {
  Finding finding;
  finding.environment = environ;
  int best = 0;
  for (char** next = environ; next != nullptr && *next != nullptr; ++next, ++finding.size) {
    const char* entry = finding.last_entry = *next;
    if (*entry != 'L') continue;
    const int rank = IsSet(entry, "LC_ALL")   ? 3
                     : IsSet(entry, variable) ? 2
                     : IsSet(entry, "LANG")   ? 1
                                              : 0;
    if (rank <= best) continue;
    best = rank;
    finding.index = finding.size;
    finding.entry = entry;
  }
  if (finding.entry != nullptr) finding.value = Finding::ValueOf(finding.entry);
  finding.identifier = Identifier(finding.value);
  return finding;
}

}  // namespace

const char* CurrentLocaleIdentifier(LocaleCategory category) {
  thread_local Finding findings[kCategories];
  const auto index = static_cast<size_t>(category);
  Finding& finding = findings[index];
  if (!finding.HoldsStill()) finding = Find(kVariables[index]);
  return finding.identifier;
}

}  // namespace orvik
