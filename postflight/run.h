// The run of the postflight tool.
#pragma once

namespace orvik {

// Reads and logs the installer's arguments and records where things were installed in the shared
// preferences of com.orviktech.Registry. The result is the exit status of the process: always 1,
// whether or not the arguments were complete and the values could be saved.
int RunPostflight();

}  // namespace orvik
