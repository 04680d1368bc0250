#include "postflight/log_sys.h"

#include <syslog.h>

#include <string>

#include "host/system.h"

namespace orvik {

void logSys::notice(const NSString* text) {
  if (text != nullptr) host::SystemLog(LOG_NOTICE, text->ToUtf8());
}

void logSys::Banner(char mark, std::size_t count) {
  host::SystemLog(LOG_NOTICE, std::string(count, mark));
}

void StoreCopy(const NSString*& field, const NSString* value) {
  const NSString* copy = value == nullptr ? nullptr : value->copy();
  if (field != nullptr) field->autorelease();
  field = copy;
}

void Notice(std::initializer_list<LinePart> parts) {
  const NSString* line = CFSTR(u"");
  for (const LinePart& part : parts) line = line->stringByAppendingString(part.string());
  logSys::notice(line);
}

}  // namespace orvik
