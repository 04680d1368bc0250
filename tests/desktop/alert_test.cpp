// Alerts on a terminal and in a window.
#include <pty.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

#include "desktop/alert_backends.h"
#include "host/descriptor.h"
#include "tests/support/alert_answer.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace desktop;

// A descriptor from which the text can be read.
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

// A timer signal every 20 ms neither answers the question nor changes the length of the wait.
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
  const host::Descriptor in(ends[0]), user(ends[1]);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::tmpfile(), &std::fclose);
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
    if (child == 0) {
      // An alert needs a user who sees the question and can answer it.
      bool is_silent = true;
      for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO}) {
        const int kept = dup(descriptor), nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
        dup2(nowhere, descriptor);
        is_silent = is_silent && !AskOnTerminal(request);
        dup2(kept, descriptor);
      }
      _exit(is_silent && AskOnTerminal(request) == answer ? 0 : 1);
    }
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
  request.header = "a\x1B[2J\x7F\x1F ~\r\u0080\u009F\u00A0\u2029\u202A\u202E\u202F\xC2";
  request.message =
      "two\r\nlines\tand \xC2\x9B"
      "1m caf\xC3\xA9 \u202Egnp\u202C";
  request.buttons = {"1", "2", "3", "4"};
  request.default_button = 7;
  request.cancel_button = 3;
  request.destructive_button = 2;
  const auto [button, seen] = Answered(0, [&] { return ShowAlert(request); });
  EXPECT_EQ(button, 0);
  EXPECT_EQ(seen.header, "a?[2J?? ~???\u00A0\u2029??\u202F\xC2");
  EXPECT_EQ(seen.message, "two\nlines and ?1m caf\xC3\xA9 ?gnp?");
  EXPECT_EQ(seen.buttons.size(), 3u);
  EXPECT_EQ(seen.default_button, 2);
  EXPECT_EQ(seen.cancel_button, -1);
  EXPECT_EQ(seen.destructive_button, 2);

  const AlertRequest plain = Answered(0, [] { return ShowAlert(AlertRequest{}); }).second;
  EXPECT_EQ(plain.buttons, std::vector<std::string>{"OK"});
  EXPECT_EQ(plain.default_button, 0);
}

AlertRequest Question(int default_button, std::vector<std::string> buttons) {
  AlertRequest request;
  request.level = AlertLevel::kCaution;
  request.header = "Head";
  request.message = "Sure?";
  request.buttons = std::move(buttons);
  request.default_button = default_button;
  return request;
}

TEST(AlertWindow, EscapesMarkupAndKeepsTextsOutOfOptions) {
  AlertRequest request = Question(1, {"a_b", "--help"});
  request.destructive_button = 0;
  request.header = "<i>H</i>";
  request.message = "C:\\new & \"$(x)\" <b>";
  const std::vector<std::string> expected{
      "zenity",
      "--title=<i>H</i>",
      "--question",
      "--text=<b>&lt;i&gt;H&lt;/i&gt;</b>\n\nC:\\\\new &amp; \"$(x)\" &lt;b&gt;",
      "--icon-name=dialog-warning",
      "--default-cancel",
      "--ok-label=\u26A0 a__b",
      "--cancel-label=--help"};
  EXPECT_EQ(WindowFor(request).arguments, expected);
}

TEST(AlertWindow, ButtonsKeepTheirPlacesWhicheverIsTheDefault) {
  const struct {
    int count, cancel, default_button;
    std::vector<int> places;  // right, left, third
    bool cancel_has_focus;
  } cases[] = {{1, -1, 0, {0}, false},     {2, -1, 0, {0, 1}, false},   {2, -1, 1, {0, 1}, true},
               {2, 0, 0, {1, 0}, true},    {2, 0, 1, {1, 0}, false},    {3, 1, 0, {0, 1, 2}, false},
               {3, 1, 1, {0, 1, 2}, true}, {3, 1, 2, {2, 1, 0}, false}, {3, 2, 0, {0, 2, 1}, false},
               {3, 0, 2, {2, 0, 1}, false}};
  for (const auto& [count, cancel, default_button, places, cancel_has_focus] : cases) {
    AlertRequest request = Question(default_button, {"a", "b", "c"});
    request.buttons.resize(static_cast<std::size_t>(count));
    request.cancel_button = cancel;
    const AlertWindow window = WindowFor(request);
    EXPECT_EQ(window.button_places, places) << count << cancel << default_button;
    EXPECT_EQ(std::count(window.arguments.begin(), window.arguments.end(), "--default-cancel"),
              cancel_has_focus ? 1 : 0);
  }
}

TEST(AlertWindow, BreaksLongWordsAndScrollsLongTexts) {
  AlertRequest request = Question(0, {"a", "b"});
  request.message = std::string(50, 'x') + " short " + std::string(24, 'y');
  const std::string piece(24, 'x');
  const std::string text = "--text=<b>Head</b>\n\n" + piece + "\u200B" + piece + "\u200Bxx short " +
                           std::string(24, 'y');
  EXPECT_EQ(WindowFor(request).arguments[3], text);

  // Lines of 54 columns; then one more line, or one longer line.
  request.message = std::string(54, 'x');
  for (int line = 2; line <= kMessageLines; ++line) request.message += "\n" + std::string(54, 'x');
  EXPECT_EQ(WindowFor(request).arguments[2], "--question");
  for (const char* more : {"\n", "x"}) {
    AlertRequest longer = request;
    longer.message += more;
    EXPECT_EQ(WindowFor(longer).arguments[2], "--text-info");
  }
  request.message.clear();
  for (int line = 1; line <= kMessageLines; ++line) request.message += "<&\n";
  const AlertWindow window = WindowFor(request);
  EXPECT_EQ(window.arguments[2], "--text-info");
  EXPECT_EQ(window.input, "Head\n\n" + request.message);
  request.cancel_button = 0;
  EXPECT_EQ(WindowFor(request).button_places, (std::vector<int>{0, 1}));
}

TEST(AlertWindow, ANoteHasNoIconAndEndsByItself) {
  AlertRequest request = Question(0, {"a"});
  request.level = AlertLevel::kPlain;
  request.header.clear();
  std::vector<std::string> expected{"zenity", "--title=", "--info", "--text=Sure?", "--ok-label=a"};
  EXPECT_EQ(WindowFor(request).arguments, expected);
  for (const auto& [timeout, seconds] :
       {std::pair(0.2, "1"), {2.0, "2"}, {2.1, "3"}, {1e300, "1000000000"}}) {
    request.timeout = timeout;
    EXPECT_EQ(WindowFor(request).arguments.back(), std::string("--timeout=") + seconds);
  }
}

class FakeProgramTest : public EnvironmentTest {
 protected:
  // Installs a program named zenity that runs one line of shell.
  void Install(const std::string& line) {
    const fs::path program = env_.folder() / "bin" / "zenity";
    WriteFile(program, "#!/bin/sh\n" + line + "\n");
    fs::permissions(program, fs::perms::all);
  }

  ScopedVariable path_{"PATH", (env_.folder() / "bin").string() + ":/usr/bin:/bin"};
  ScopedVariable display_{"DISPLAY", ":4711"};
};

TEST_F(FakeProgramTest, TellsTheAnswerFromAFailure) {
  const struct {
    const char* line;
    std::optional<int> answer;  // the index among three buttons
  } cases[] = {{"exit $ZENITY_OK", 0},
               {"exit $ZENITY_CANCEL", 1},
               {"echo c; exit $ZENITY_ESC", 2},
               {"echo c; exit $ZENITY_EXTRA", 2},
               {"exit $ZENITY_ESC", kAlertClosed},
               {"exit 5", std::nullopt},  // the request has no timeout
               {"exit 1", std::nullopt},
               {"exit 0", std::nullopt},
               {"head -c 100000 /dev/zero; exit $ZENITY_EXTRA", 2},
               {"kill -9 $$", std::nullopt},
               {"kill $$; exit $ZENITY_OK", std::nullopt}};  // no signal is blocked or ignored
  const auto before = signal(SIGTERM, SIG_IGN);
  for (const auto& [line, answer] : cases) {
    Install(line);
    EXPECT_EQ(AskInWindow(Question(1, {"a", "b", "c"})), answer) << line;
  }
  signal(SIGTERM, before);
  Install("exit 5");
  AlertRequest timed = Question(0, {"a"});
  timed.timeout = 0.2;
  EXPECT_EQ(AskInWindow(timed), kAlertClosed);
}

TEST_F(FakeProgramTest, HasItsTextAsInputAndALocaleOfUtf8) {
  AlertRequest request = Question(0, {"a"});
  for (int line = 0; line < 20'000; ++line) request.message += "\nline";
  Install("[ $(wc -l) = 20002 ] && exit $ZENITY_OK");
  EXPECT_EQ(AskInWindow(request), 0);
  const ScopedVariable given("ZENITY_OK", "9");
  const char* const cases[][4] = {{"C", "", "de_DE.UTF-8", "C.UTF-8"},
                                  {"", "C", "de_DE.UTF-8", "C.UTF-8"},
                                  {"", "", "", "C.UTF-8"},
                                  {"", "", "de_DE.UTF-8", ""},
                                  {"", "de_DE.utf8", "C", ""}};
  for (const auto& [all, characters, language, seen] : cases) {
    const ScopedVariable one("LC_ALL", all), two("LC_CTYPE", characters), three("LANG", language);
    Install("[ \"$LC_ALL\" = '" + std::string(seen) + "' ] && exit $ZENITY_OK");
    EXPECT_EQ(AskInWindow(Question(0, {"a"})), 0) << all << characters << language;
  }
}

TEST_F(FakeProgramTest, NeedsADisplayAndTheProgram) {
  const ScopedVariable empty("PATH", (env_.folder() / "none").string());
  EXPECT_EQ(AskInWindow(Question(0, {"a"})), std::nullopt);
  Install("exit $ZENITY_OK");
  const ScopedVariable path("PATH", (env_.folder() / "bin").string());
  const ScopedVariable no_display("DISPLAY", "");
  const ScopedVariable no_wayland("WAYLAND_DISPLAY", "");
  EXPECT_EQ(AskInWindow(Question(0, {"a"})), std::nullopt);
}

// Circumstances in which a program cannot wait for a child's exit status.
TEST_F(FakeProgramTest, TheAnswerNeedsNoExitStatusOfAChild) {
  Install("sleep 0.2; exit $ZENITY_OK");
  const auto ignored = signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(AskInWindow(Question(1, {"a", "b"})), 0);
  signal(SIGCHLD, ignored);

  std::atomic<bool> ended = false;
  std::thread reaper([&ended] {
    while (!ended) {
      waitpid(-1, nullptr, WNOHANG);
      usleep(1000);
    }
  });
  EXPECT_EQ(AskInWindow(Question(1, {"a", "b"})), 0);
  ended = true;
  reaper.join();
}

TEST_F(FakeProgramTest, TheWindowEndsWithItsProgram) {
  const fs::path number = env_.folder() / "pid";
  Install("echo $$ > " + number.string() + ".new; mv " + number.string() + ".new " +
          number.string() + "; exec sleep 100");
  const pid_t program = fork();
  if (program == 0) {
    AskInWindow(Question(0, {"a"}));
    _exit(0);
  }
  for (int wait = 0; wait < 1000 && !fs::exists(number); ++wait) usleep(10'000);
  const pid_t window = std::stoi(ReadFile(number));
  EXPECT_EQ(kill(window, 0), 0);
  kill(program, SIGKILL);
  waitpid(program, nullptr, 0);
  for (int wait = 0; wait < 1000 && kill(window, 0) == 0; ++wait) usleep(10'000);
  EXPECT_NE(kill(window, 0), 0);
}

}  // namespace
}  // namespace orvik::test
