// Names for temporary files under the Windows names.
//
// None of these functions makes a file, so two callers may be given the same name: who makes the
// file must ask for it to be new (CreateFile with CREATE_NEW, fopen with "x") and, when it is there
// already, ask for the next name.
#pragma once

#include "platform/core_foundation/string.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Finds the first number from `unique` on for which folder + "/" + at most 3 units of prefix + the
// decimal number names nothing, writes that path into `buffer` (MAX_PATH units) and returns the
// number. 0 when the path does not fit.
DWORD GetTempFileName(const char16_t* folder, const char16_t* prefix, DWORD unique,
                      char16_t* buffer);

// The folder for temporary files with a "/" at its end: at most `buffer_length` - 1 units of it and
// a terminator go into `buffer`; nothing is written when `buffer_length` is 0 or the buffer null.
// Returns the full length in units; a value not below `buffer_length` says that it was cut. 0 when
// there is no folder.
DWORD GetTempPath(DWORD buffer_length, char16_t* buffer);

// That folder as the platform gives it; the caller releases the string.
CFStringRef CocoaGetTempPathHelper();

}  // namespace orvik
