// The browser as a person meets it: the program in a terminal of tmux, its keys typed, its screen
// read.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "prefs/preferences.h"
#include "prefs/shared_lock.h"
#include "strings/atl_string_a.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

constexpr const char16_t* kDomain = u"com.orviktech.Registry";

class BrowseTest : public EnvironmentTest {
 protected:
  void SetUp() override {
    if (RunCommand({"sh", "-c", "command -v tmux"}).status != 0) {
      GTEST_SKIP() << "tmux is not installed";
    }
    Write(u"Software/Vendor/App", u"Path", u"/opt/app");
    Write(u"Software/Vendor/App", u"Title", u"\u4E2D\u6587 e\u0301");
    Write(u"Software/Other", u"evil", u"photo\u202Egnp\x1b[2J");
    EXPECT_EQ(WritePreferenceInt(0, u"Software/Vendor/App", u"Count", 42, kDomain), 0u);
  }
  ~BrowseTest() override { EndServer(); }

  static void Write(const char16_t* key, const char16_t* name, const CAtlString& value) {
    EXPECT_EQ(WritePreferenceString(0, key, name, value, kDomain), 0u);
  }
  static std::string Stored(const char16_t* key, const char16_t* name) {
    unsigned long error = 0;
    return std::string(
        CAtlStringA(GetPreferenceString(0, key, name, u"(none)", &error, kDomain)).View());
  }

  // A server that was asked to end may still be there when the next one starts: each has its own
  // place.
  std::string Socket() const { return (env_.folder() / ("t" + std::to_string(server_))).string(); }
  // The shell is named: the account that runs the tests may have none.
  std::string Tmux(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {"env", "SHELL=/bin/sh", "tmux", "-u", "-S", Socket(), "-f", "/dev/null"});
    return RunCommand(arguments).out;
  }

  // The program in a shell that says how it ended and whether the terminal still echoes.
  void Start(const std::string& arguments = "", int columns = 80, int rows = 24,
             const std::string& variable = "") {
    ++server_;
    const std::string program = (ProgramFolder() / "orvikprefs").string();
    Tmux({"new-session", "-d", "-x", std::to_string(columns), "-y", std::to_string(rows),
          variable + " " + program + " browse " + arguments +
              "; echo ended $?; stty -a | grep -q ' echo ' && echo sane; sleep 1000"});
  }
  void Type(const std::vector<std::string>& keys) {
    for (const std::string& key : keys) Tmux({"send-keys", key});
  }
  // Waits for the program, which may still have changes to keep in a folder of the test.
  void EndServer() {
    const std::string shell = Tmux({"display-message", "-p", "#{pane_pid}"});
    const std::string child = RunCommand({"pgrep", "-P", shell.substr(0, shell.find('\n'))}).out;
    Tmux({"kill-server"});
    const fs::path command = "/proc/" + child.substr(0, child.find('\n')) + "/cmdline";
    char byte = 0;
    for (int attempt = 0; attempt < 400 && !child.empty(); ++attempt) {
      // A process that has ended has no command line, even if nobody has waited for it.
      if (!std::ifstream(command).get(byte)) break;
      usleep(25'000);
    }
  }
  // Of the program, which the shell of the terminal has started.
  void Kill(const char* signal) {
    const std::string shell = Tmux({"display-message", "-p", "#{pane_pid}"});
    RunCommand({"pkill", std::string("-") + signal, "-P", shell.substr(0, shell.find('\n'))});
  }
  void TypeText(const std::string& text) { Tmux({"send-keys", "-l", text}); }

  int server_ = 0;
  const ScopedVariable visual_{"VISUAL", nullptr};
  std::optional<ScopedVariable> editor_;

  std::string Screen() { return Tmux({"capture-pane", "-p"}); }
  // Also where the text is wrapped at one of its blanks.
  testing::AssertionResult Shows(const std::string& text) {
    std::string screen;
    for (int attempt = 0; attempt < 400; ++attempt) {
      screen = Screen();
      std::string line = screen;
      std::replace(line.begin(), line.end(), '\n', ' ');
      if (screen.find(text) != std::string::npos || line.find(text) != std::string::npos) {
        return testing::AssertionSuccess();
      }
      usleep(25'000);
    }
    return testing::AssertionFailure() << "no \"" << text << "\" in\n" << screen;
  }
  // A script of the shell plays the editor and its user.
  void UseEditor(const std::string& script) {
    const fs::path editor = env_.folder() / "editor";
    WriteFile(editor, "#!/bin/sh\n" + script);
    fs::permissions(editor, fs::perms::all);
    editor_.emplace("EDITOR", editor.string());
  }
  // What the program does after the screen has already shown the same words.
  static bool Holds(const fs::path& file, const std::string& content) {
    for (int attempt = 0; attempt < 400; ++attempt) {
      if (fs::exists(file) && ReadFile(file) == content) return true;
      usleep(25'000);
    }
    return false;
  }
};

TEST_F(BrowseTest, WalksAndShowsHarmlessText) {
  Start();
  ASSERT_TRUE(Shows("\u25B8 Software"));
  EXPECT_TRUE(Shows("shared  com.orviktech.Registry"));
  EXPECT_TRUE(Shows("q quit"));
  Type({"Down", "Right", "Down"});
  EXPECT_TRUE(Shows("/Software/Other"));
  EXPECT_TRUE(Shows("photo\\u202egnp\\x1b[2J"));
  Type({"Down", "Enter", "Down", "Tab", "Down"});
  EXPECT_TRUE(Shows("/Software/Vendor/App/Path"));
  EXPECT_TRUE(Shows("string   /opt/app"));
  EXPECT_TRUE(Shows("\u4E2D\u6587 e\u0301"));
  Type({"q"});
  EXPECT_TRUE(Shows("ended 0"));
  EXPECT_TRUE(Shows("sane"));
}

TEST_F(BrowseTest, SelectsWhatIsClicked) {
  Start("Software/Vendor/App");
  ASSERT_TRUE(Shows(" /Software/Vendor/App"));
  // The row of a text on the screen, and a press and a release there, as a terminal reports them.
  const auto click = [this](const std::string& text) {
    std::istringstream screen(Screen());
    int row = 1;
    for (std::string line; std::getline(screen, line) && !Contains(line, text);) ++row;
    for (const char button : {' ', '#'}) {
      TypeText(std::string("\x1b[M") + button + static_cast<char>(32 + 6) +
               static_cast<char>(32 + row));
    }
  };
  click("Other");
  EXPECT_TRUE(Shows(" /Software/Other"));
  click("Vendor");
  EXPECT_TRUE(Shows(" /Software/Vendor "));
}

TEST_F(BrowseTest, SearchesGoesAndCompletes) {
  Start();
  ASSERT_TRUE(Shows("Software"));
  Type({"/"});
  TypeText("OPT");
  EXPECT_TRUE(Shows("1 found"));
  EXPECT_TRUE(Shows("/Software/Vendor/App/Path = /opt/app"));
  Type({"Enter"});
  EXPECT_TRUE(Shows("hit 1 of 1"));
  EXPECT_TRUE(Shows(" /Software/Vendor/App/Path"));
  Type({"g"});
  TypeText("So");
  Type({"Tab"});
  TypeText("O");
  Type({"Tab", "Tab", "Enter"});
  EXPECT_TRUE(Shows(" /Software/Other"));
}

TEST_F(BrowseTest, EditsEveryTypeAndWritesAtOnce) {
  UseEditor("echo '[1, \"two\"]' > \"$1\"\n");
  Start("Software/Vendor/App/Count");
  ASSERT_TRUE(Shows(" /Software/Vendor/App/Count"));
  Type({"e", "BSpace"});
  TypeText("x");
  EXPECT_TRUE(Shows("this is not"));
  Type({"Enter", "BSpace"});  // the mistake is not taken
  TypeText("3");
  Type({"Enter"});
  EXPECT_TRUE(Shows("1 change"));
  struct Added {
    int downs;
    const char* name;
    const char* text;
  };
  for (const auto& [downs, name, text] : {Added{0, "s", "new"},
                                          {2, "r", "2.5"},
                                          {3, "b", "yes"},
                                          {4, "d", "2024-05-06T07:08:09Z"},
                                          {5, "x", "00ff"}}) {
    Type({"a"});
    ASSERT_TRUE(Shows("Type of the new value"));
    for (int i = 0; i < downs; ++i) Type({"Down"});
    Type({"Enter"});
    ASSERT_TRUE(Shows("name:"));
    TypeText(name);
    Type({"Enter"});
    TypeText(text);
    Type({"Enter"});
    ASSERT_TRUE(Shows(std::string("/Software/Vendor/App/") + name));
  }
  Type({"a", "End", "Enter"});
  TypeText("list");
  Type({"Enter"});
  EXPECT_TRUE(Shows("[1,\"two\"]"));
  Type({"c"});
  EXPECT_TRUE(Shows("~ Software/Vendor/App/Count = integer 42 -> integer 43"));
  EXPECT_TRUE(Shows("+ Software/Vendor/App/x = data AP8="));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Count"), "42");
  Type({"w"});
  EXPECT_TRUE(Shows("7 changes written"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Count"), "43");
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"s"), "new");
  Type({"q"});
  EXPECT_TRUE(Shows("ended 0"));
}

TEST_F(BrowseTest, ShowsWhatOthersDoAndNeverOverwritesIt) {
  Start("Software/Vendor/App/Path");
  ASSERT_TRUE(Shows(" /Software/Vendor/App/Path"));
  Type({"e"});
  TypeText("/mine");
  Type({"Enter"});
  ASSERT_TRUE(Shows("1 change"));
  Write(u"Software/Vendor/App", u"Title", u"theirs");
  EXPECT_TRUE(Shows("~Title"));
  EXPECT_TRUE(Shows("changed by another process"));
  Write(u"Software/Vendor/App", u"Path", u"/theirs");
  EXPECT_TRUE(Shows("1 conflict"));
  Type({"w"});
  EXPECT_TRUE(Shows("settle the conflicts first"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/theirs");
  Type({"q"});
  EXPECT_TRUE(Shows("1 change is not written"));
  Type({"Escape", "C"});
  EXPECT_TRUE(Shows("theirs  string /theirs\n   mine    string /opt/app/mine\n"));
  Type({"m", "w"});
  EXPECT_TRUE(Shows("1 change written"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app/mine");
}

// Between the opening of a line and its end, and between the look at a row and the key.
TEST_F(BrowseTest, ActsOnWhatTheUserSaw) {
  Start("Software/Vendor/App/Path");
  ASSERT_TRUE(Shows(" /Software/Vendor/App/Path"));
  Type({"e"});
  TypeText("/mine");
  ASSERT_TRUE(Shows("string: /opt/app/mine"));
  Write(u"Software/Vendor/App", u"Path", u"/theirs");
  Write(u"Software/Vendor/App", u"Name", u"above");
  ASSERT_TRUE(Shows("above"));
  Type({"Enter"});
  EXPECT_TRUE(Shows("another process changed /Software/Vendor/App/Path meanwhile"));
  EXPECT_TRUE(Shows("1 conflict"));
  EXPECT_TRUE(Shows("string   /theirs"));
  Type({"C"});
  EXPECT_TRUE(Shows("mine    string /opt/app/mine\n   before  string /opt/app\n"));
  Type({"t", "d"});
  EXPECT_TRUE(Shows("deleted /Software/Vendor/App/Path"));
  Type({"u"});
  EXPECT_TRUE(Shows("undo: delete /Software/Vendor/App/Path"));
  RunCommand({(ProgramFolder() / "orvikprefs").string(), "delete", "Software/Vendor/App", "Path"});
  ASSERT_TRUE(Shows("Path is gone"));
  Type({"d"});
  EXPECT_TRUE(Shows("/Software/Vendor/App/Path is gone; select it again"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Title"), "?? e?");
}

TEST_F(BrowseTest, TakesPastedTextAsTextAndCtrlCAsAQuestion) {
  Start("Software/Vendor/App/Path");
  ASSERT_TRUE(Shows(" /Software/Vendor/App/Path"));
  Tmux({"set-buffer", "d\nw\nq\n"});
  Tmux({"paste-buffer", "-p"});
  EXPECT_TRUE(Shows("pasted text is not taken as keys"));
  Type({"e", "C-u"});
  Tmux({"paste-buffer", "-p"});
  EXPECT_TRUE(Shows("string: d\u240Aw\u240Aq\u240A"));
  Type({"Enter", "C-z"});  // no shell is there that could let a stopped process go on
  EXPECT_TRUE(Shows("d\\nw\\nq\\n"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app");
  Type({"C-c"});
  EXPECT_TRUE(Shows("1 change is not written"));
  Type({"C-c", "c"});
  EXPECT_TRUE(Shows("Changes that w writes"));
  Type({"C-c", "C-c", "d"});
  EXPECT_TRUE(Shows("ended 0"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app");
}

TEST_F(BrowseTest, KeepsTheTextOfAnEditorThatFails) {
  UseEditor("echo '[1, \"two\"]' > \"$1\"; exit 1\n");
  Start("Software");
  ASSERT_TRUE(Shows(" /Software"));
  Type({"a", "End", "Enter"});
  TypeText("list");
  Type({"Enter"});
  EXPECT_TRUE(Shows("the editor failed"));
  Type({"Escape"});
  EXPECT_TRUE(Shows("the text is kept in"));
  bool is_kept = false;
  for (const std::string& name : NamesIn(env_.temp())) {
    is_kept |= ReadFile(env_.temp() / name / "orvikprefs.json") == "[1, \"two\"]\n";
  }
  EXPECT_TRUE(is_kept);
}

TEST_F(BrowseTest, SaysThatTheFileIsDamaged) {
  const fs::path file =
      env_.system_root() / "Users/Shared/Library/Preferences/com.orviktech.Registry.plist";
  WriteFile(file, "<plist><dict>");
  Start();
  EXPECT_TRUE(Shows("damaged: R repairs it"));
  Type({"A"});
  TypeText("new");
  Type({"Enter", "w"});
  EXPECT_TRUE(Shows("nothing is written"));
  EXPECT_EQ(ReadFile(file), "<plist><dict>");
  WriteFile(file, "<plist><dict><key>kept</key><string>x</string><key>lost</dict></plist>");
  Type({"R"});
  EXPECT_TRUE(Shows("Repair saves 1 top-level entries and loses 1"));
  Type({"y"});
  EXPECT_TRUE(Shows("repaired; the damaged file is"));
  EXPECT_TRUE(Contains(ReadFile(file), "<key>kept</key>"));
}

TEST_F(BrowseTest, FitsEveryScreenWithAndWithoutColour) {
  Start("Software/Vendor/App", 200, 60);
  ASSERT_TRUE(Shows(" /Software/Vendor/App"));
  Tmux({"resize-window", "-x", "40", "-y", "10"});
  EXPECT_TRUE(Shows("Software/Vendor/App"));
  Type({"Tab"});
  EXPECT_TRUE(Shows("Count"));
  Tmux({"resize-window", "-x", "20", "-y", "4"});
  Type({"Down", "Up", "?"});
  Tmux({"resize-window", "-x", "120", "-y", "40"});
  EXPECT_TRUE(Shows("Nothing is written before w"));
  EndServer();
  const ScopedVariable plain("NO_COLOR", "1");
  Start();
  ASSERT_TRUE(Shows("Software"));
  const std::string coloured = Tmux({"capture-pane", "-p", "-e"});
  for (const char* colour : {"[31m", "[32m", "[33m", "[34m", "[35m", "[36m"}) {
    EXPECT_EQ(coloured.find(colour), std::string::npos);
  }
}

TEST_F(BrowseTest, KeepsChangesWhenItIsEndedAndOffersThem) {
  const fs::path folder = env_.home() / "Library/Application Support/orvikprefs";
  for (const char* name : {"SEGV", "TERM", "HUP", "INT"}) {
    Start("Software/Vendor/App/Path");
    ASSERT_TRUE(Shows(" /Software/Vendor/App/Path"));
    Type({"d"});
    ASSERT_TRUE(Shows("1 change"));
    if (std::string(name) == "HUP") Type({"e", "C"});  // in a dialog, too
    Kill(name);
    EXPECT_TRUE(Shows("ended 1")) << name;
    EXPECT_TRUE(Shows("sane")) << name;
    EXPECT_EQ(Screen().find("Vendor/App"), std::string::npos) << name;
    const bool is_kept = std::string(name) != "SEGV";
    ASSERT_EQ(is_kept, fs::exists(folder)) << name;
    if (is_kept) {
      EXPECT_TRUE(Shows("1 change kept in")) << name;
      EXPECT_EQ(NamesIn(folder).size(), 1u) << name;
      EndServer();
      Start();
      ASSERT_TRUE(Shows("1 change of a browser that was ended before it wrote them is kept"));
      Type({"t"});
      EXPECT_TRUE(Shows("taken over"));
      Type({"c"});
      EXPECT_TRUE(Shows("- Software/Vendor/App/Path = string /opt/app"));
      Type({"Escape", "q", "d"});
      EXPECT_TRUE(Shows("ended 0"));
      EXPECT_TRUE(NamesIn(folder).empty()) << name;
    }
    EndServer();
  }
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app");
}

TEST_F(BrowseTest, SaysForWhomItWaits) {
  const OtherProcess holder([] { LockGlobalSharedPList(kDomain); });
  Start("--timeout 300 Software/Vendor/App/Path");
  ASSERT_TRUE(Shows(" /Software/Vendor/App/Path"));
  EXPECT_TRUE(Shows("locked by"));
  Type({"d", "w"});
  EXPECT_TRUE(Shows(", process " + std::to_string(holder.pid())));
  EXPECT_TRUE(Shows("1 s of 300 s"));
  Type({"q", "x", "w", "Escape"});  // keys do not wait in a queue
  EXPECT_TRUE(Shows("nothing is written: cancelled"));
  EXPECT_TRUE(Shows("1 change"));
  UnlockGlobalSharedPList(kDomain);
  Type({"w"});
  EXPECT_TRUE(Shows("1 change written"));
  LockGlobalSharedPList(kDomain);
  EndServer();
  Start("--timeout 0 Software/Vendor/App");
  ASSERT_TRUE(Shows(" /Software/Vendor/App"));
  Type({"A"});
  TypeText("key");
  Type({"Enter", "w"});
  EXPECT_TRUE(Shows("nothing is written: the lock was not free within 0 s"));
  UnlockGlobalSharedPList(kDomain);
}

TEST_F(BrowseTest, RefusesTerminalsThatCannotShowIt) {
  const std::pair<const char*, const char*> cases[] = {
      {"dumb", "TERM=\"dumb\" cannot move the cursor"},
      {"no-such-terminal", "TERM=\"no-such-terminal\" is not in this machine's"}};
  for (const auto& [name, message] : cases) {
    Start("", 80, 24, std::string("TERM=") + name);
    EXPECT_TRUE(Shows(message));
    EXPECT_TRUE(Shows("ended 1"));
    EXPECT_TRUE(Shows("sane"));
  }
}

TEST_F(BrowseTest, ShowsWhatToPressOnNarrowScreens) {
  Start("Software/Vendor/App", 40, 10);
  ASSERT_TRUE(Shows("/Software/Vendor/App"));
  EXPECT_TRUE(Shows("? help  q quit  w write"));
  Type({"d"});
  EXPECT_TRUE(Shows("delete /Software/Vendor/App with 3\nentries?\ny delete  Esc back"));
  Type({"y", "q"});
  EXPECT_TRUE(Shows("1 change is not written"));
  Type({"Escape", "a", "F1"});
  EXPECT_TRUE(Shows("move, open, close"));
  Type({"End"});
  EXPECT_TRUE(Shows("Nothing is written before w."));
  Type({"Escape", "Escape", "F9"});
  EXPECT_TRUE(Shows("this key does nothing here"));
  Type({"q", "d"});
  EXPECT_TRUE(Shows("ended 0"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app");
}

TEST_F(BrowseTest, ViewsConvertsExportsAndCopies) {
  Start("Software/Vendor/App/Count");
  ASSERT_TRUE(Shows(" /Software/Vendor/App/Count"));
  Tmux({"set-option", "-s", "set-clipboard", "on"});
  Type({"t", "Home", "Enter", "v"});
  EXPECT_TRUE(Shows("string, 2 UTF-16 units"));
  EXPECT_TRUE(Shows("before: integer\n 42"));
  Type({"Escape", "P"});
  EXPECT_TRUE(Shows("value copied"));
  EXPECT_EQ(Tmux({"show-buffer"}), "42");
  Type({"p"});
  EXPECT_TRUE(Shows("path copied"));
  EXPECT_EQ(Tmux({"show-buffer"}), "Software/Vendor/App/Count");
  const std::string file = At("export.json").string();
  for (const bool exists : {false, true}) {
    Type({"x"});
    TypeText(file);
    Type({"Enter"});
    if (exists) Type({"o"});
    EXPECT_TRUE(Holds(file, "\"42\"\n"));  // the message of the first time still stands
    EXPECT_TRUE(Shows("exported /Software/Vendor/App/Count to"));
    WriteFile(file, "other");
  }
}

TEST_F(BrowseTest, EditsLongTextInOneStep) {
  Write(u"Software/Long", u"text", CAtlString(Repeated("long text ", 10'000).c_str()));
  UseEditor("sed -i 's/long/short/' \"$1\"\n");
  Start("Software/Long/text");
  ASSERT_TRUE(Shows(" /Software/Long/text"));
  Type({"e"});
  EXPECT_TRUE(Shows("short text long"));
  // A line takes as much, pasted.
  WriteFile(At("paste"), Repeated("0123456789", 10'000));
  Type({"Left", "a", "Enter"});
  ASSERT_TRUE(Shows("name:"));
  TypeText("pasted");
  Type({"Enter"});
  ASSERT_TRUE(Shows("string:"));
  Tmux({"load-buffer", At("paste").string()});
  Tmux({"paste-buffer", "-p"});
  ASSERT_TRUE(Shows("123456789"));
  Type({"Home", "x", "Enter"});
  EXPECT_TRUE(Shows("x0123456789"));
}

}  // namespace
}  // namespace orvik::test
