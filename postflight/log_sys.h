// The tool's lines in the system log.
#pragma once

#include <initializer_list>

#include "platform/core_foundation/string.h"

namespace orvik {

// Every method sends its text as one line, verbatim and with nothing added, at priority notice (5),
// in UTF-8, the 8-bit encoding of this system. Unpaired surrogates become "?"; a line is logged up
// to the first NUL in it.
class logSys {
 public:
  logSys() = delete;

  static void notice(const NSString* text);

  static void pipes();     // 74 vertical bars
  static void pipes2();    // 148 vertical bars
  static void stripes();   // 75 slashes
  static void stripes2();  // 150 slashes
};

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
