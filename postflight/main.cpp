#include "host/program_arguments.h"
#include "postflight/run.h"

// The arguments reach the tool through the standard user defaults.
int main(int argc, char** argv) {
  orvik::host::SetProgramArguments(argc, argv);
  return orvik::RunPostflight();
}
