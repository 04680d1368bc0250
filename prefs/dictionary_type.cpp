#include "prefs/dictionary_type.h"

#include "platform/core_foundation/dictionary.h"

namespace orvik {

bool IsADictionaryType(CFTypeRef value) {
  return value != nullptr && CFGetTypeID(value) == CFDictionaryGetTypeID();
}

}  // namespace orvik
