// Volumes that only one process sees.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include "tests/support/test_environment.h"

namespace orvik::test {

// Runs the body in a process of its own that has a new volume mounted at `place`. The test is
// skipped if this user may not mount one.
inline void OnAVolume(const fs::path& place, const char* type, const char* options,
                      const std::function<void()>& body) {
  constexpr int kNoVolume = 77;
  fs::create_directory(place);
  const int status = InProcesses(1, [&](int) {
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("orvik-test", place.c_str(), type, 0, options) != 0) {
      return kNoVolume;
    }
    body();
    return testing::Test::HasFailure() ? 1 : 0;
  })[0];
  if (status == kNoVolume) GTEST_SKIP() << "this user may not mount";
  EXPECT_EQ(status, 0);
}

}  // namespace orvik::test
