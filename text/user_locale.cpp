#include "text/user_locale.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "text/of_thread.h"

namespace orvik {

namespace {

constexpr const char* kVariables[] = {"LC_CTYPE", "LC_COLLATE", "LC_TIME"};
constexpr size_t kCategories = std::size(kVariables);

// Returns the identifier in a variable's value. Each identifier is stored once.
const char* Identifier(std::string_view value) {
  value = value.substr(0, value.find('.'));
  if (value == "C" || value == "POSIX") value = {};
  static std::mutex guard;
  static auto* const known = new std::set<std::string, std::less<>>;
  const std::lock_guard lock(guard);
  const auto found = known->find(value);
  return (found != known->end() ? found : known->emplace(value).first)->c_str();
}

// The value of the first of the variables that is set and not empty, or "". One walk over the
// environment takes a third of the time of three look-ups.
const char* FirstSet(std::array<std::string_view, 3> variables) {
  const char* value = "";
  size_t best = variables.size();
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const char* const text = *entry;
    if (*text != 'L') continue;
    for (size_t i = 0; i < best; ++i) {
      const size_t length = variables[i].size();
      // The second letter excludes most variables without a call.
      if (text[1] != variables[i][1] || std::strncmp(text, variables[i].data(), length) != 0 ||
          text[length] != '=') {
        continue;
      }
      if (text[length + 1] == '\0') continue;
      value = text + length + 1;
      best = i;
    }
  }
  return value;
}

// Whether the environment has these entries in the same order at the same addresses.
bool IsEnvironment(const std::vector<const char*>& entries) {
  char* const* now = environ;
  if (now == nullptr) return entries.empty();
  const char* const* entry = entries.data();
  const char* const* const end = entry + entries.size();
  // Compares four entries at a time. Reads the next four only when these are equal.
  for (; end - entry >= 4; entry += 4, now += 4) {
    if (now[0] != entry[0] || now[1] != entry[1] || now[2] != entry[2] || now[3] != entry[3]) {
      return false;
    }
  }
  for (; entry != end; ++entry, ++now) {
    if (*now != *entry) return false;
  }
  return *now == nullptr;
}

}  // namespace

const char* CurrentLocaleIdentifier(LocaleCategory category) {
  // Most calls find the environment unchanged since the last call. Setting a variable changes the
  // address of its entry. A program may also change the text at that address, so the text of the
  // variable that was found is compared, too.
  struct Last {
    std::vector<const char*> environment;
    const char* found = nullptr;
    std::string value;
    const char* identifier = nullptr;
  };
  Last& known = OfThread<std::array<Last, kCategories>>()[static_cast<size_t>(category)];
  if (known.identifier != nullptr && IsEnvironment(known.environment) &&
      known.value == known.found) {
    return known.identifier;
  }
  known.identifier = nullptr;
  known.environment.clear();
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    known.environment.push_back(*entry);
  }
  known.found = FirstSet({"LC_ALL", kVariables[static_cast<size_t>(category)], "LANG"});
  known.value = known.found;
  return known.identifier = Identifier(known.value);
}

locale_t PlainLocale() {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  return plain;
}

double RealAtStart(const char* text) {
  return strtod_l(text, nullptr, PlainLocale());
}

}  // namespace orvik
