// Captures the tool's log lines.
#pragma once

#include "platform/core_foundation/object.h"
#include "postflight/log_sys.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

class LogTest : public EnvironmentTest {
 protected:
  LogTest() {
    setenv("ORVIK_LOG_STDERR", "1", 1);
    ::testing::internal::CaptureStderr();
  }
  ~LogTest() override {
    ::testing::internal::GetCapturedStderr();
    unsetenv("ORVIK_LOG_STDERR");
  }

  // The lines since the last call, each with its line feed.
  std::string Log() {
    std::string lines = ::testing::internal::GetCapturedStderr();
    ::testing::internal::CaptureStderr();
    return lines;
  }

  static const NSString* Text(const std::string& utf8) {
    return NSString::stringWithUTF8String(utf8.c_str());
  }

 private:
  NSAutoreleasePool pool_;
};

}  // namespace orvik::test
