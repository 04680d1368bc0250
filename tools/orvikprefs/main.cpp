#include <unistd.h>

#include <iostream>

#include "tools/orvikprefs/run.h"

int main(int argc, char** argv) {
  return orvik::prefstool::Run(argc, argv, isatty(STDOUT_FILENO) != 0, std::cout, std::cerr);
}
