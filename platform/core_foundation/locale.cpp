#include "platform/core_foundation/locale.h"

#include "platform/foundation/ns_string.h"
#include "text/user_locale.h"

namespace orvik {

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

CFLocaleRef CFLocaleCopyCurrent() {
  return new NSLocale(CurrentLocaleIdentifier(LocaleCategory::kCharacters));
}

}  // namespace orvik
