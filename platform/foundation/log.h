// Formatted lines in the system log.
#pragma once

#include "platform/foundation/ns_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Formats as CFStringCreateWithFormat does ("%@" takes an object) and sends the text, in UTF-8, to
// the system log at priority warning.
void NSLog(const NSString* format, ...);

}  // namespace orvik
