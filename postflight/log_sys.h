// The tool's lines in the system log.
#pragma once

#include "platform/foundation/ns_string.h"

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

}  // namespace orvik
