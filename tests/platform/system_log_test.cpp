#include "host/system.h"

#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

#include "platform/core_foundation/string.h"
#include "platform/foundation/application.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

TEST(SystemLogTest, CopiesLinesToStandardErrorWhenAskedTo) {
  setenv("ORVIK_LOG_STDERR", "1", 1);
  testing::internal::CaptureStderr();
  host::SystemLog(LOG_NOTICE, "100% of %s %n");
  host::SystemLog(LOG_NOTICE, "red \x1b[31m, two\nlines, \xE2\x80\xAEturned");
  host::SystemLog(LOG_NOTICE, std::string_view("up to\0here", 10));
  NSLog(CFSTR(u"%@ and %d"), CFSTR(u"text"), 7);
  setenv("ORVIK_LOG_STDERR", "0", 1);
  host::SystemLog(LOG_NOTICE, "not copied");
  unsetenv("ORVIK_LOG_STDERR");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "100% of %s %n\nred \\x1b[31m, two\\nlines, \\u202eturned\nup to\ntext and 7\n");
}

TEST(SystemLogTest, AReaderThatWentAwayEndsNothing) {
  const std::vector<int> statuses = InProcesses(1, [](int) {
    int ends[2];
    if (pipe(ends) != 0) return 1;
    close(ends[0]);
    dup2(ends[1], STDERR_FILENO);
    setenv("ORVIK_LOG_STDERR", "1", 1);
    for (int line = 0; line < 2; ++line) host::SystemLog(LOG_NOTICE, "nobody reads this");
    return 0;
  });
  EXPECT_EQ(statuses[0], 0);
}

}  // namespace
}  // namespace orvik::test
