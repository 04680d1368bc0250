#include "tests/support/value_circle.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace orvik::test {
namespace {

// More with ORVIK_CIRCLE_TREES in the environment.
int Trees() {
  const char* const trees = std::getenv("ORVIK_CIRCLE_TREES");
  return trees == nullptr ? 10'000 : std::atoi(trees);
}

TEST(ValueCircle, EveryTreeComesBackAndEveryLossIsTold) {
  std::mt19937_64 random(2026);
  int faults = 0;
  for (int i = 0; i < Trees() && faults < 5; ++i) {
    std::string bytes(random() % 400, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const std::string fault = CircleFault(bytes);
    EXPECT_EQ(fault, "") << "tree " << i;
    faults += fault.empty() ? 0 : 1;
  }
}

}  // namespace
}  // namespace orvik::test
