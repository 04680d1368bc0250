#include "postflight/run.h"

// The arguments reach the tool through the standard user defaults.
int main() {
  return orvik::RunPostflight();
}
