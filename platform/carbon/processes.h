// Running processes.
//
// A process that has ended and waits for its parent is not running. The serial number of a process
// is its id together with the moment it started, so that it never names a later process of the same
// id. Functions return 0 or procNotFound (paramErr for null).
#pragma once

#include <sys/types.h>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

struct ProcessSerialNumber {
  UInt32 highLongOfPSN = 0;  // of the start time
  UInt32 lowLongOfPSN = 0;   // the id
};

// Finds the running process with an id.
OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* process);

// The name of a process: that of its program's file, without folder, the same for every asker. Of a
// process whose program the caller may not examine (another user's) it is the kernel's name for it,
// completed from the command line where the kernel cut it at 15 bytes. The caller owns it.
OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name);

OSErr GetCurrentProcess(ProcessSerialNumber* process);

OSStatus GetProcessPID(const ProcessSerialNumber* process, pid_t* pid);

}  // namespace orvik
