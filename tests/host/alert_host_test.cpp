#include "host/alert_host.h"

#include <gtest/gtest.h>

#include "tests/support/alert_answer.h"

namespace orvik::host {
namespace {

TEST(AlertHost, HandsOutPlainTextsAndAtMostThreeButtons) {
  AlertRequest request;
  request.header = "a\x1B[2Jb\x7F";
  request.message =
      "two\r\nlines\tand \xC2\x9B"
      "1m caf\xC3\xA9 \u202Egnp\u202C";
  request.buttons = {"1", "2", "3", "4"};
  request.default_button = 7;
  request.cancel_button = 3;
  const auto [button, seen] = test::Answered(0, [&] { return ShowAlert(request); });
  EXPECT_EQ(button, 0);
  EXPECT_EQ(seen.header, "a?[2Jb?");
  EXPECT_EQ(seen.message, "two\nlines and ?1m caf\xC3\xA9 ?gnp?");
  EXPECT_EQ(seen.buttons.size(), 3u);
  EXPECT_EQ(seen.default_button, 2);
  EXPECT_EQ(seen.cancel_button, -1);

  const AlertRequest plain = test::Answered(0, [] { return ShowAlert(AlertRequest{}); }).second;
  EXPECT_EQ(plain.buttons, std::vector<std::string>{"OK"});
  EXPECT_EQ(plain.default_button, 0);
}

}  // namespace
}  // namespace orvik::host
