#include "platform/host/alert_terminal.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace orvik::host {
namespace {

TEST(AlertTerminal, TakesNumbersLabelsAndTheDefault) {
  const struct {
    const char* input;
    int answer;
  } cases[] = {
      {"2\n", 1},         {"delete\n", 1},       {"\n", 0}, {"1\r\n", 0}, {"9\nno\nCancel\n", 0},
      {"", kAlertClosed}, {"9\n", kAlertClosed}, {"2", 1},
  };
  AlertRequest request;
  request.header = "Delete";
  request.message = "Sure? %s %n";
  request.buttons = {"Cancel", "Delete"};
  for (const auto& [input, answer] : cases) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(std::tmpfile(), &std::fclose);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::tmpfile(), &std::fclose);
    std::fputs(input, in.get());
    std::rewind(in.get());
    EXPECT_EQ(AskThrough(in.get(), out.get(), request), answer) << input;
    std::rewind(out.get());
    char shown[256] = {};
    EXPECT_GT(std::fread(shown, 1, sizeof shown - 1, out.get()), 0u);
    EXPECT_TRUE(std::string(shown).starts_with(
        "Delete\nSure? %s %n\n  1) Cancel\n  2) Delete\nAnswer [1]: "))
        << shown;
  }
}

}  // namespace
}  // namespace orvik::host
