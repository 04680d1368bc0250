#include "platform/core_foundation/locale.h"

#include <cstdlib>
#include <mutex>
#include <set>
#include <string_view>

#include "platform/foundation/string.h"

namespace orvik {

namespace {

std::string_view Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

}  // namespace

const char* CurrentLocaleIdentifier(const char* category) {
  std::string_view value;
  for (const char* name : {"LC_ALL", category, "LANG"}) {
    value = Variable(name);
    if (!value.empty()) break;
  }
  value = value.substr(0, value.find('.'));
  if (value == "C" || value == "POSIX") value = {};
  if (value.empty()) return "";
  static std::mutex guard;
  static auto* const known = new std::set<std::string, std::less<>>;
  const std::lock_guard lock(guard);
  const auto found = known->find(value);
  return (found != known->end() ? found : known->emplace(value).first)->c_str();
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
