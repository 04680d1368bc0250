#include "desktop/alert_backends.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "desktop/alert.h"
#include "host/descriptor.h"
#include "tests/support/alert_answer.h"

namespace orvik::desktop {
namespace {

// A descriptor that gives the text and then ends.
host::Descriptor Typed(const std::string& text) {
  host::Descriptor file(memfd_create("typed", 0));
  EXPECT_EQ(write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  lseek(file.get(), 0, SEEK_SET);
  return file;
}

TEST(AlertTerminal, TakesNumbersLabelsAndTheDefault) {
  const std::pair<const char*, int> cases[] = {
      {"2\n", 1},         {"delete\n", 1},       {"\n", 0}, {"1\r\n", 0}, {"9\nno\nCancel\n", 0},
      {"", kAlertClosed}, {"9\n", kAlertClosed}, {"2", 1}};
  AlertRequest request;
  request.header = "Delete";
  request.message = "Sure? %s %n";
  request.buttons = {"Cancel", "Delete"};
  request.destructive_button = 1;
  for (const auto& [input, answer] : cases) {
    const host::Descriptor in = Typed(input);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::tmpfile(), &std::fclose);
    EXPECT_EQ(AskThrough(in.get(), out.get(), request), answer) << input;
    std::rewind(out.get());
    char shown[256] = {};
    EXPECT_GT(std::fread(shown, 1, sizeof shown - 1, out.get()), 0u);
    EXPECT_TRUE(std::string(shown).starts_with(
        "Delete\nSure? %s %n\n  1) Cancel\n  2) Delete (!)\nAnswer [1]: "))
        << shown;
  }
}

// A timer signal every 20 ms neither answers the question nor changes how long it waits.
TEST(AlertTerminal, SignalsNeitherEndNorExtendTheWait) {
  struct sigaction handler = {};
  handler.sa_handler = [](int) {};
  struct sigaction before = {};
  ASSERT_EQ(sigaction(SIGALRM, &handler, &before), 0);
  const itimerval often{{0, 20'000}, {0, 20'000}};
  const itimerval never{};
  setitimer(ITIMER_REAL, &often, nullptr);

  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const host::Descriptor in(ends[0]);
  const host::Descriptor user(ends[1]);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen("/dev/null", "w"),
                                                            &std::fclose);
  AlertRequest request;
  request.buttons = {"a", "b"};
  request.timeout = 0.3;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(AskThrough(in.get(), out.get(), request), kAlertClosed);
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited.count(), 0.3);
  EXPECT_LT(waited.count(), 5);

  request.timeout = 0;
  std::thread typist([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(write(user.get(), "2\n", 2), 2);
  });
  EXPECT_EQ(AskThrough(in.get(), out.get(), request), 1);
  typist.join();
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
}

TEST(AlertTerminal, AsksOnARealTerminal) {
  AlertRequest request;
  request.message = "Sure?";
  request.buttons = {"Cancel", "Delete"};
  const std::pair<std::string, int> cases[] = {{"2\n", 1}, {"\n", 0}, {"\x04", kAlertClosed}};
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
}  // namespace orvik::desktop
