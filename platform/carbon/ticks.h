// Ticks: sixtieths of a second since the machine started.
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

// Wraps after 828 days.
UInt32 TickCount();

// Waits that many ticks, through signals; final_ticks, unless null, receives the tick count after.
void Delay(UInt32 ticks, UInt32* final_ticks);

}  // namespace orvik
