#include "platform/core_foundation/bundle.h"

namespace orvik {

CFBundleRef CFBundleGetMainBundle() {
  return nullptr;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef) {
  return nullptr;
}

}  // namespace orvik
