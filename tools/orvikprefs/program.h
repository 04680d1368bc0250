// The administrator's command line, callable by tests.
#pragma once

#include <iosfwd>

namespace orvik::prefstool {

// Parses the arguments (argv as main has it), carries the command out and gives the exit status.
// terminal says that people read the output.
int Run(int argc, const char* const* argv, bool terminal, std::ostream& out, std::ostream& error);

}  // namespace orvik::prefstool
