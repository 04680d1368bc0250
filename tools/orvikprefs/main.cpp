#include <signal.h>
#include <unistd.h>

#include <iostream>
#include <new>

#include "tools/orvikprefs/commands.h"

int main(int argc, char** argv) {
  // A write beyond the size limit of files fails, and is reported, instead of ending the process.
  signal(SIGXFSZ, SIG_IGN);
  try {
    return orvik::prefstool::Run(argc, argv, isatty(STDOUT_FILENO) != 0, std::cout, std::cerr);
  } catch (const std::bad_alloc&) {
    std::cerr << "orvikprefs: not enough memory\n";
    return orvik::prefstool::kNotSaved;
  }
}
