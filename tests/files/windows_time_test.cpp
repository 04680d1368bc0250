#include "files/windows_time.h"

#include <gtest/gtest.h>

#include <chrono>

#include "platform/carbon/ticks.h"

namespace orvik {
namespace {

TEST(WindowsTime, ClassifiesVersions) {
  const std::pair<DWORD, int> cases[] = {{0x0000, -1}, {0x101F, -1}, {0x1020, 0}, {0x102F, 0},
                                         {0x1030, 1},  {0x103F, 1},  {0x1040, 2}, {0x1049, 2},
                                         {0x104F, 2},  {0x1050, 3},  {0x2000, 3}};
  for (const auto& [word, expected] : cases) EXPECT_EQ(ClassifyOSXVersion(word), expected) << word;
  EXPECT_GE(CurrentMachineOSXVersion(), -1);
}

TEST(WindowsTime, DropsTheRestOfASecond) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) Sleep(999);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(WindowsTime, TurnsTicksIntoMilliseconds) {
  UInt32 ticks;
  DWORD milliseconds;
  do {
    ticks = TickCount();
    milliseconds = GetTickCount();
  } while (TickCount() != ticks);
  EXPECT_EQ(milliseconds, static_cast<DWORD>(ticks * 1000u) / 60);
}

}  // namespace
}  // namespace orvik
