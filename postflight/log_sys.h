// The tool's lines in the system log.
#pragma once

#include <cstddef>
#include <initializer_list>

#include "platform/core_foundation/string.h"

namespace orvik {

// Every method logs its text as one line without additions, at priority notice (5), in UTF-8, the
// 8-bit encoding of this system. Unpaired surrogates become "?"; a line ends at its first NUL.
class logSys {
 public:
  logSys() = delete;

  // Logs a string; does nothing for null.
  static void notice(const NSString* text);

  // Banners: 74 and 148 vertical bars, 75 and 150 slashes.
  static void pipes() { Banner('|', 74); }
  static void pipes2() { Banner('|', 148); }
  static void stripes() { Banner('/', 75); }
  static void stripes2() { Banner('/', 150); }

 private:
  static void Banner(char mark, std::size_t count);
};

// Stores a copy of the new value (null stays null) in the field, which owns it, and autoreleases
// the old value. Needs an autorelease pool.
void StoreCopy(const NSString*& field, const NSString* value);

// A part of a log line: a text of the program, or a string that may be null.
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
