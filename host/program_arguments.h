// The arguments with which the program was started.
#pragma once

#include <string>
#include <vector>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Takes over what main was given, so that nothing need be read from /proc. To be called before
// ProgramArguments, at the start of main.
void SetProgramArguments(int argc, const char* const* argv);

// Without the program's name. Where main handed nothing over they are read from /proc.
std::vector<std::string> ProgramArguments();

}  // namespace host
}  // namespace orvik
