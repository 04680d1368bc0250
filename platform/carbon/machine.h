// The machine, its clock and its running processes.
//
// A zombie process is not running. The serial number of a process is its id together with its start
// time, so that it never names a later process with the same id. The functions for processes return
// 0 or procNotFound (paramErr for null).
#pragma once

#include <sys/types.h>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

struct ProcessSerialNumber {
  UInt32 highLongOfPSN = 0;  // the start time
  UInt32 lowLongOfPSN = 0;   // the process id
};

// Stores in `*process` the serial number of the running process `pid`. The id of a thread is
// procNotFound.
OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* process);

// Stores in `*name` the name of the process's program, which the caller owns: the whole name of its
// file, even after the file was removed (host::ProgramNameOf). procNotFound when the process has
// ended; `*name` is then unchanged.
OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name);

// The ticks (sixtieths of a second) since boot. Wraps after 828 days.
UInt32 TickCount();

// Waits `ticks` ticks, even if signals arrive; `*final_ticks`, unless null, receives the tick count
// afterwards.
void Delay(UInt32 ticks, UInt32* final_ticks);

inline constexpr OSType gestaltSystemVersion = FourCC("sysv");
inline constexpr OSErr gestaltUndefSelectorErr = -5551;

// Gives the version of the platform whose interfaces are offered, in binary-coded digits: 0x1049 is
// 10.4.9. Other selectors are unknown.
OSErr Gestalt(OSType selector, SInt32* response);

}  // namespace orvik
