#include "platform/foundation/description.h"

#include "platform/foundation/ns_string.h"

namespace orvik {

void AppendDescription(std::u16string& text, const NSObject* object) {
  const NSString* description = object->description();
  if (description == nullptr) return;
  for (const char16_t unit : description->ToUnits()) {
    text += unit;
    if (unit == u'\n') text += u"    ";
  }
}

}  // namespace orvik
