#include "postflight/log_line.h"

#include "postflight/log_sys.h"

namespace orvik {

void StoreCopy(const NSString*& field, const NSString* value) {
  const NSString* copy = value == nullptr ? nullptr : value->copy();
  if (field != nullptr) {
    field->autorelease();
  }
  field = copy;
}

void Notice(std::initializer_list<LinePart> parts) {
  const NSString* line = CFSTR(u"");
  for (const LinePart& part : parts) {
    line = line->stringByAppendingString(part.string());
  }
  logSys::notice(line);
}

}  // namespace orvik
