#include "platform/carbon/errno_status.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace orvik::host {
namespace {

TEST(ErrnoStatusTest, EveryErrorHasAStatusAndATextAndOnlyZeroIsNone) {
  EXPECT_EQ(StatusFromErrno(0), 0);
  EXPECT_EQ(StatusFromErrno(ENOENT), -43);
  EXPECT_EQ(StatusFromErrno(EEXIST), -48);
  EXPECT_EQ(StatusFromErrno(ENOSPC), -34);
  EXPECT_EQ(StatusFromErrno(EACCES), -5000);
  for (int error = 1; error < 140; ++error) {
    const OSStatus status = StatusFromErrno(error);
    EXPECT_LT(status, 0) << error;
    EXPECT_NE(std::string(StatusText(status)), "unknown error") << error;
  }
  EXPECT_STREQ(StatusText(0), "");
  EXPECT_STREQ(StatusText(-99999), "unknown error");
}

}  // namespace
}  // namespace orvik::host
