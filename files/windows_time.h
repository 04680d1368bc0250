// Time since the machine started, waiting, and the system's version.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Milliseconds: ticks of 1/60 s * 1000 / 60, the multiplication in 32 bits.
DWORD GetTickCount();

// Whole seconds: the rest of a second is dropped, and below 1000 ms nothing is waited.
void Sleep(DWORD milliseconds);

// -1 before 10.2, 0 for 10.2, 1 for 10.3, 2 for 10.4, 3 for later; -2 when the version is
// unknown.
int CurrentMachineOSXVersion();

// The same for a version word in binary-coded digits (0x1049 is 10.4.9).
int ClassifyOSXVersion(DWORD version_word);

}  // namespace orvik
