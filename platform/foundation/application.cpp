#include "platform/foundation/application.h"

namespace orvik {

namespace {

// Never destroyed, so that it serves until the very end.
union TheApplication {
  constexpr TheApplication() : application() {}
  ~TheApplication() {}  // NOLINT(modernize-use-equals-default)
  NSApplication application;
};
constinit TheApplication the_application;
NSApplication* loaded = nullptr;

}  // namespace

ObjCBool NSApplicationLoad() {
  loaded = &the_application.application;
  return YES;
}

NSApplication* NSApp() {
  return loaded;
}

}  // namespace orvik
