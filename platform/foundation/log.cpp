#include "platform/foundation/log.h"

#include <syslog.h>

#include <cstdarg>

#include "host/system.h"
#include "platform/core_foundation/string.h"

namespace orvik {

void NSLog(const NSString* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const CFStringRef text =
      CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, format, arguments);
  va_end(arguments);
  // A format that cannot be carried out still says something.
  host::SystemLog(LOG_WARNING, (text != nullptr ? text : format)->ToUtf8());
  CFRelease(text);
}

}  // namespace orvik
