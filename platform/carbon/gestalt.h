// What the machine is.
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr OSType gestaltSystemVersion = FourCC("sysv");
inline constexpr OSErr gestaltUndefSelectorErr = -5551;

// The system version is that of the platform whose interfaces are offered, in binary-coded digits:
// 0x1049 is 10.4.9. Other selectors are not known.
OSErr Gestalt(OSType selector, SInt32* response);

}  // namespace orvik
