#include "tests/properties/value_circle.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace orvik::test {
namespace {

TEST(ValueCircle, EveryTreeComesBackAndEveryLossIsTold) {
  // More with ORVIK_CIRCLE_TREES in the environment.
  const char* const trees = std::getenv("ORVIK_CIRCLE_TREES");
  EXPECT_EQ(FirstFault(trees == nullptr ? 10'000 : std::atoi(trees), 400, CircleFault), "");
}

}  // namespace
}  // namespace orvik::test
