#include "files/windows_time.h"

#include "platform/carbon/gestalt.h"
#include "platform/carbon/ticks.h"

namespace orvik {

namespace {

constexpr DWORD kTicksPerSecond = 60;
constexpr DWORD kMillisecondsPerSecond = 1000;

}  // namespace

DWORD GetTickCount() {
  return TickCount() * kMillisecondsPerSecond / kTicksPerSecond;
}

void Sleep(DWORD milliseconds) {
  const DWORD seconds = milliseconds / kMillisecondsPerSecond;
  if (seconds > 0) Delay(seconds * kTicksPerSecond, nullptr);
}

int CurrentMachineOSXVersion() {
  SInt32 version = 0;
  if (Gestalt(gestaltSystemVersion, &version) != 0) return -2;
  return ClassifyOSXVersion(static_cast<DWORD>(version));
}

int ClassifyOSXVersion(DWORD version_word) {
  if (version_word < 0x1020) return -1;
  if (version_word < 0x1030) return 0;
  if (version_word < 0x1040) return 1;
  return version_word < 0x1050 ? 2 : 3;
}

}  // namespace orvik
