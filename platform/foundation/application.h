// The application object of a program that shows no windows.
#pragma once

#include "platform/foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

class NSApplication final : public NSObject {
 public:
  // activateIgnoringOtherApps:. A program without windows has nothing to bring to the front.
  void activateIgnoringOtherApps(ObjCBool) {}

  constexpr NSApplication() = default;
  ~NSApplication() override = default;
};

// Makes the application object. YES, also when called again.
ObjCBool NSApplicationLoad();

// The application object of the process; null before NSApplicationLoad.
NSApplication* NSApp();

}  // namespace orvik
