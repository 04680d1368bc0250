#include "platform/carbon/ticks.h"

#include <cerrno>
#include <ctime>

namespace orvik {

namespace {

constexpr UInt64 kTicksPerSecond = 60;
constexpr UInt64 kNanoseconds = 1'000'000'000;

timespec SinceStart() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now;
}

}  // namespace

UInt32 TickCount() {
  const timespec now = SinceStart();
  return static_cast<UInt32>(static_cast<UInt64>(now.tv_sec) * kTicksPerSecond +
                             static_cast<UInt64>(now.tv_nsec) * kTicksPerSecond / kNanoseconds);
}

void Delay(UInt32 ticks, UInt32* final_ticks) {
  timespec until{};
  clock_gettime(CLOCK_MONOTONIC, &until);
  const UInt64 nanoseconds =
      static_cast<UInt64>(until.tv_nsec) + ticks % kTicksPerSecond * kNanoseconds / kTicksPerSecond;
  until.tv_sec += static_cast<time_t>(ticks / kTicksPerSecond + nanoseconds / kNanoseconds);
  until.tv_nsec = static_cast<long>(nanoseconds % kNanoseconds);
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
  if (final_ticks != nullptr) *final_ticks = TickCount();
}

}  // namespace orvik
