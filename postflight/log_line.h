// What the tool's classes share in handling platform strings.
#pragma once

#include <initializer_list>

#include "platform/core_foundation/string.h"

namespace orvik {

// Autoreleases the object of a field and stores a copy of the new value; null is none.
void StoreCopy(const NSString*& field, const NSString* value);

// A part of a log line: text in the code, or a string that may be missing.
class LinePart {
 public:
  LinePart(const char16_t* text) : string_(CFSTR(text)) {}
  LinePart(const NSString* string) : string_(string == nullptr ? CFSTR(u"(null)") : string) {}

  const NSString* string() const { return string_; }

 private:
  const NSString* string_;
};

// Sends the parts, joined, as one line to the log.
void Notice(std::initializer_list<LinePart> parts);

}  // namespace orvik
