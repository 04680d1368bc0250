#include "platform/host/alert_host.h"

#include <gtest/gtest.h>

namespace orvik::host {
namespace {

TEST(AlertHost, HandsOutPlainTextsAndAtMostThreeButtons) {
  AlertRequest seen;
  const ScopedAlertAnswer answer([&seen](const AlertRequest& request) {
    seen = request;
    return std::optional<int>(0);
  });
  AlertRequest request;
  request.header = "a\x1B[2Jb\x7F";
  request.message =
      "two\r\nlines\tand \xC2\x9B"
      "1m caf\xC3\xA9";
  request.buttons = {"1", "2", "3", "4"};
  request.default_button = 7;
  EXPECT_EQ(ShowAlert(request), 0);
  EXPECT_EQ(seen.header, "a?[2Jb?");
  EXPECT_EQ(seen.message, "two\nlines and ?1m caf\xC3\xA9");
  EXPECT_EQ(seen.buttons.size(), 3u);
  EXPECT_EQ(seen.default_button, 2);

  ShowAlert(AlertRequest{});
  EXPECT_EQ(seen.buttons, std::vector<std::string>{"OK"});
  EXPECT_EQ(seen.default_button, 0);
}

}  // namespace
}  // namespace orvik::host
