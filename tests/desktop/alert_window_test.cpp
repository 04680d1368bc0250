#include "desktop/alert_backends.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace desktop;

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

  request.message.clear();
  for (int line = 1; line <= kMessageLines; ++line) request.message += "<&\n";
  const AlertWindow window = WindowFor(request);
  EXPECT_EQ(window.arguments[2], "--text-info");
  EXPECT_EQ(window.input, "Head\n\n" + request.message);
  request.cancel_button = 0;
  EXPECT_EQ(WindowFor(request).button_places, (std::vector<int>{0, 1}));
}

class FakeProgramTest : public EnvironmentTest {
 protected:
  // A program of that name which runs one line of shell.
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
    std::optional<int> answer;  // of three buttons
  } cases[] = {{"exit $ZENITY_OK", 0},
               {"exit $ZENITY_CANCEL", 1},
               {"echo c; exit $ZENITY_ESC", 2},
               {"echo c; exit $ZENITY_EXTRA", 2},
               {"exit $ZENITY_ESC", kAlertClosed},
               {"exit 5", std::nullopt},  // no time-out was asked for
               {"exit 1", std::nullopt},
               {"exit 0", std::nullopt},
               {"kill -9 $$", std::nullopt}};
  for (const auto& [line, answer] : cases) {
    Install(line);
    EXPECT_EQ(AskInWindow(Question(1, {"a", "b", "c"})), answer) << line;
  }
  Install("exit 5");
  AlertRequest timed = Question(0, {"a"});
  timed.timeout = 0.2;
  EXPECT_EQ(AskInWindow(timed), kAlertClosed);
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

// The ways in which a program can lose a child's exit status.
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

bool Installed(const char* program) {
  return RunCommand({"sh", "-c", std::string("command -v ") + program}).status == 0;
}

// A display of its own while the object lives.
class VirtualDisplay {
 public:
  VirtualDisplay() {
    int report[2];
    if (pipe(report) != 0) return;
    const std::string fd = std::to_string(report[1]);
    server_ = fork();
    if (server_ == 0) {
      close(report[0]);
      if (freopen("/dev/null", "w", stderr) == nullptr) _exit(1);
      execlp("Xvfb", "Xvfb", "-noreset", "-displayfd", fd.c_str(), "-screen", "0", "800x600x24",
             nullptr);
      _exit(1);
    }
    close(report[1]);
    char byte = 0;
    while (read(report[0], &byte, 1) == 1 && byte != '\n') number_ += byte;
    close(report[0]);
  }
  ~VirtualDisplay() {
    if (server_ <= 0) return;
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
  }
  VirtualDisplay(const VirtualDisplay&) = delete;
  VirtualDisplay& operator=(const VirtualDisplay&) = delete;

  const std::string& number() const { return number_; }

 private:
  pid_t server_ = -1;
  std::string number_;
};

TEST_F(FakeProgramTest, ARealWindowIsAnsweredByItsButton) {
  for (const char* program : {"zenity", "Xvfb", "xdotool"}) {
    if (!Installed(program)) GTEST_SKIP() << program << " is not installed";
  }
  const VirtualDisplay display;
  if (display.number().empty()) GTEST_SKIP() << "no display can be opened";
  const ScopedVariable variable("DISPLAY", ":" + display.number());

  std::atomic<bool> answered = false;
  std::thread user([&answered] {
    // The button that is not "Cancel" is the last one of the bottom row.
    const std::string press =
        "eval $(xdotool search --onlyvisible --name '^Head$' getwindowgeometry --shell) && "
        "xdotool mousemove $((X + WIDTH - 40)) $((Y + HEIGHT - 25)) click 1";
    for (int attempt = 0; attempt < 200 && !answered; ++attempt) {
      RunCommand({"sh", "-c", press});
      usleep(50'000);
    }
  });
  AlertRequest request = Question(0, {"Cancel", "Delete"});
  request.cancel_button = 0;
  const std::optional<int> answer = AskInWindow(request);
  answered = true;
  user.join();
  EXPECT_EQ(answer, 1);
}

}  // namespace
}  // namespace orvik::test
