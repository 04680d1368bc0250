// Locales: whose language rules a text operation follows.
#pragma once

#include <string>

#include "platform/foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

class NSLocale final : public NSObject {
 public:
  // The identifier is one of language, script, territory: "tr_TR", "de", "" for the root.
  explicit NSLocale(std::string identifier) : identifier_(std::move(identifier)) {}

  const std::string& identifier() const { return identifier_; }

  static CFTypeID TypeID();
  CFTypeID typeID() const override { return TypeID(); }
  bool isEqual(const NSObject* other) const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  const NSString* description() const override;

 private:
  std::string identifier_;
};

using CFLocaleRef = const NSLocale*;

// The user's locale for text: the first of LC_ALL, LC_CTYPE and LANG that is set and not empty,
// without its encoding ("tr_TR.UTF-8" is tr_TR); the root locale for "C" and "POSIX" and when none
// is set. The caller owns the result.
CFLocaleRef CFLocaleCopyCurrent();

}  // namespace orvik
