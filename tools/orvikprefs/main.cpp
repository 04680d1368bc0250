#include <signal.h>
#include <unistd.h>

#include <iostream>
#include <new>

#include "tools/orvikprefs/commands.h"

int main(int argc, char** argv) {
  // Makes a write beyond the file size limit fail with an error instead of ending the process.
  signal(SIGXFSZ, SIG_IGN);
  try {
    return orvik::prefstool::Run(argc, argv, isatty(STDOUT_FILENO) != 0, std::cout, std::cerr);
  } catch (const std::bad_alloc&) {
    std::cerr << "orvikprefs: not enough memory\n";
    return orvik::prefstool::kNotSaved;
  }
}
