#include <signal.h>

#include "host/proc.h"
#include "postflight/install_information.h"

// The arguments reach the tool through the standard user defaults.
int main(int argc, char** argv) {
  // Makes a write beyond the file size limit fail with an error instead of ending the process.
  signal(SIGXFSZ, SIG_IGN);
  orvik::host::SetProgramArguments(argc, argv);
  return orvik::RunPostflight();
}
