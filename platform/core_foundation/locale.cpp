#include "platform/core_foundation/locale.h"

#include <unistd.h>

#include <cstring>
#include <mutex>
#include <set>
#include <string_view>

#include "platform/foundation/string.h"

namespace orvik {

namespace {

struct TextVariables {
  const char* category = nullptr;
  const char* language = nullptr;
};

// The value when the entry "NAME=value" is of that name and its value not empty, else null.
const char* ValueOf(const char* entry, std::string_view name) {
  return std::strncmp(entry, name.data(), name.size()) == 0 && entry[name.size()] == '=' &&
                 entry[name.size() + 1] != 0
             ? entry + name.size() + 1
             : nullptr;
}

// One walk over the environment for the three: every comparison of texts asks.
const char* ValueOfVariables(std::string_view category) {
  TextVariables found;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (**entry != 'L') continue;
    if (const char* all = ValueOf(*entry, "LC_ALL")) return all;
    if (const char* value = ValueOf(*entry, category)) found.category = value;
    if (const char* value = ValueOf(*entry, "LANG")) found.language = value;
  }
  if (found.category != nullptr) return found.category;
  return found.language != nullptr ? found.language : "";
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

}  // namespace

const char* CurrentLocaleIdentifier(const char* category) {
  thread_local std::string last_value;
  thread_local const char* last_identifier = Identifier("");
  const char* value = ValueOfVariables(category);
  if (last_value != value) {
    last_value = value;
    last_identifier = Identifier(value);
  }
  return last_identifier;
}

CFTypeID NSLocale::TypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

bool NSLocale::isEqual(const NSObject* other) const {
  return other != nullptr && other->typeID() == TypeID() &&
         static_cast<const NSLocale*>(other)->identifier_ == identifier_;
}

CFHashCode NSLocale::hash() const {
  return std::hash<std::string>()(identifier_);
}

NSObject* NSLocale::copy() const {
  return const_cast<NSLocale*>(Retained(this));
}

const NSString* NSLocale::description() const {
  return Autoreleased(NSString::NewFromUtf8(identifier_));
}

CFTypeID CFLocaleGetTypeID() {
  return NSLocale::TypeID();
}

CFLocaleRef CFLocaleCopyCurrent() {
  return new NSLocale(CurrentLocaleIdentifier("LC_CTYPE"));
}

CFLocaleRef CFLocaleCreate(CFAllocatorRef, const NSString* identifier) {
  return identifier == nullptr ? nullptr : new NSLocale(identifier->ToUtf8());
}

const NSString* CFLocaleGetIdentifier(CFLocaleRef locale) {
  return locale->description();
}

}  // namespace orvik
