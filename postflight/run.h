// The run of the postflight tool.
#pragma once

namespace orvik {

// Reads and logs the installer's arguments and records where things were installed in the shared
// preferences of com.orviktech.Registry. The result is the exit status of the process: 1, whether
// or not the arguments were complete and the values could be saved.
//
// With the environment variable ORVIK_STRICT set to "1" the values are then read back from the
// store's file; the status is 0 when all of them are there, else 1, and the log names the missing
// ones.
int RunPostflight();

}  // namespace orvik
