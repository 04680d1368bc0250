// The bundle of the running program.
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

class NSBundle;
using CFBundleRef = const NSBundle*;

// Null: a plain program has no bundle.
CFBundleRef CFBundleGetMainBundle();
// Null for null; not retained for the caller.
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

}  // namespace orvik
