#include "host/alert_window.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

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
  request.header = "<i>H</i>";
  request.message = "C:\\new & \"$(x)\" <b>";
  const std::vector<std::string> expected{
      "zenity",
      "--question",
      "--title=<i>H</i>",
      "--text=<b>&lt;i&gt;H&lt;/i&gt;</b>\n\nC:\\\\new &amp; \"$(x)\" &lt;b&gt;",
      "--width=360",
      "--ok-label=--help",
      "--cancel-label=a__b",
      "--icon-name=dialog-warning"};
  EXPECT_EQ(AlertWindowArguments(request), expected);
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
    std::optional<int> answer;  // of three buttons, the second being the default
  } cases[] = {
      {"exit $ZENITY_OK", 1},
      {"exit $ZENITY_CANCEL", 0},
      {"echo c; exit $ZENITY_ESC", 2},
      {"echo c; exit $ZENITY_EXTRA", 2},
      {"exit $ZENITY_ESC", kAlertClosed},
      {"exit 5", std::nullopt},  // no time-out was asked for
      {"exit 1", std::nullopt},
      {"exit 0", std::nullopt},
      {"kill -9 $$", std::nullopt},
  };
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
    // The default button is the last one of the bottom row.
    const std::string press =
        "eval $(xdotool search --onlyvisible --name '^Head$' getwindowgeometry --shell) && "
        "xdotool mousemove $((X + WIDTH - 40)) $((Y + HEIGHT - 25)) click 1";
    for (int attempt = 0; attempt < 200 && !answered; ++attempt) {
      RunCommand({"sh", "-c", press});
      usleep(50'000);
    }
  });
  const std::optional<int> answer = AskInWindow(Question(1, {"Cancel", "Delete"}));
  answered = true;
  user.join();
  EXPECT_EQ(answer, 1);
}

}  // namespace
}  // namespace orvik::test
