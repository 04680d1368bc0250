#include "host/alert_terminal.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

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

TEST(AlertTerminal, AsksOnARealTerminal) {
  AlertRequest request;
  request.message = "Sure?";
  request.buttons = {"Cancel", "Delete"};
  const struct {
    std::string typed;
    int answer;
  } cases[] = {{"2\n", 1}, {"\n", 0}, {"\x04", kAlertClosed}};
  for (const auto& [typed, answer] : cases) {
    std::fflush(nullptr);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child < 0) GTEST_SKIP() << "no terminals here";
    if (child == 0) _exit(AskOnTerminal(request) == answer ? 0 : 1);
    std::string shown;
    char buffer[256];
    while (shown.find("Answer [1]: ") == std::string::npos) {
      const ssize_t got = read(terminal, buffer, sizeof buffer);
      if (got <= 0) break;
      shown.append(buffer, static_cast<std::size_t>(got));
    }
    EXPECT_TRUE(shown.starts_with("Sure?\r\n  1) Cancel\r\n  2) Delete\r\n")) << shown;
    EXPECT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << typed;
    close(terminal);
  }
}

}  // namespace
}  // namespace orvik::host
