// The machine, its clock and its running processes.
//
// A process that has ended and waits for its parent is not running. The serial number of a process
// is its id together with the moment it started, so that it never names a later process of the same
// id. The functions for processes return 0 or procNotFound (paramErr for null).
#pragma once

#include <sys/types.h>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

struct ProcessSerialNumber {
  UInt32 highLongOfPSN = 0;  // of the start time
  UInt32 lowLongOfPSN = 0;   // the id
};

// Stores in `*process` the serial number of the running process `pid`. procNotFound
// also for the id of a thread.
OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* process);

// Stores in `*name` the name of the process's program as host::ProgramNameOf gives it, which the
// caller owns: the whole name of its file, also after the file was removed. procNotFound when the
// process has ended meanwhile; `*name` is then left alone.
OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name);

// Ticks since boot, which are sixtieths of a second. Wraps after 828 days.
UInt32 TickCount();

// Waits that many ticks, through signals; final_ticks, unless null, receives the tick count after.
void Delay(UInt32 ticks, UInt32* final_ticks);

inline constexpr OSType gestaltSystemVersion = FourCC("sysv");
inline constexpr OSErr gestaltUndefSelectorErr = -5551;

// The system version is that of the platform whose interfaces are offered, in binary-coded digits:
// 0x1049 is 10.4.9. Other selectors are not known.
OSErr Gestalt(OSType selector, SInt32* response);

}  // namespace orvik
