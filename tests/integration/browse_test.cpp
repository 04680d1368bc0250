// The browser as a person meets it: the program in a terminal of tmux, its keys typed, its screen
// read.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "prefs/preferences.h"
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
  ~BrowseTest() override { Tmux({"kill-server"}); }

  static void Write(const char16_t* key, const char16_t* name, const char16_t* value) {
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
  void Start(const std::string& arguments = "", int columns = 80, int rows = 24) {
    ++server_;
    const std::string program = (ProgramFolder() / "orvikprefs").string();
    Tmux({"new-session", "-d", "-x", std::to_string(columns), "-y", std::to_string(rows),
          program + " browse " + arguments +
              "; echo ended $?; stty -a | grep -q ' echo ' && echo sane; sleep 1000"});
  }
  void Type(const std::vector<std::string>& keys) {
    for (const std::string& key : keys) Tmux({"send-keys", key});
  }
  void TypeText(const std::string& text) { Tmux({"send-keys", "-l", text}); }

  int server_ = 0;

  std::string Screen() { return Tmux({"capture-pane", "-p"}); }
  testing::AssertionResult Shows(const std::string& text) {
    std::string screen;
    for (int attempt = 0; attempt < 400; ++attempt) {
      screen = Screen();
      if (screen.find(text) != std::string::npos) return testing::AssertionSuccess();
      usleep(25'000);
    }
    return testing::AssertionFailure() << "no \"" << text << "\" in\n" << screen;
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
  const fs::path editor = env_.folder() / "editor";
  WriteFile(editor, "#!/bin/sh\necho '[1, \"two\"]' > \"$1\"\n");
  fs::permissions(editor, fs::perms::all);
  const ScopedVariable variable("EDITOR", editor.string());
  const ScopedVariable other("VISUAL", nullptr);
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
  EXPECT_TRUE(Shows("/Software/Vendor/App/Path does not exist"));
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
  const fs::path editor = env_.folder() / "editor";
  WriteFile(editor, "#!/bin/sh\necho '[1, \"two\"]' > \"$1\"; exit 1\n");
  fs::permissions(editor, fs::perms::all);
  const ScopedVariable variable("EDITOR", editor.string());
  const ScopedVariable other("VISUAL", nullptr);
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
    is_kept |= ReadFile(env_.temp() / name) == "[1, \"two\"]\n";
  }
  EXPECT_TRUE(is_kept);
}

TEST_F(BrowseTest, DeletesAKeyAfterItsEntriesWereShownAndAsksBeforeItLeaves) {
  Start("Software/Vendor");
  ASSERT_TRUE(Shows(" /Software/Vendor"));
  Type({"d"});
  EXPECT_TRUE(Shows("delete /Software/Vendor with 4 entries?"));
  Type({"y", "q"});
  EXPECT_TRUE(Shows("1 change is not written"));
  Type({"Escape", "q", "d"});
  EXPECT_TRUE(Shows("ended 0"));
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app");
}

TEST_F(BrowseTest, SaysThatTheFileIsDamaged) {
  const fs::path file =
      env_.system_root() / "Users/Shared/Library/Preferences/com.orviktech.Registry.plist";
  WriteFile(file, "<plist><dict>");
  Start();
  EXPECT_TRUE(Shows("damaged: orvikprefs repair"));
  Type({"A"});
  TypeText("new");
  Type({"Enter", "w"});
  EXPECT_TRUE(Shows("nothing is written"));
  EXPECT_EQ(ReadFile(file), "<plist><dict>");
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
  Tmux({"kill-server"});
  const ScopedVariable plain("NO_COLOR", "1");
  Start();
  ASSERT_TRUE(Shows("Software"));
  const std::string coloured = Tmux({"capture-pane", "-p", "-e"});
  for (const char* colour : {"[31m", "[32m", "[33m", "[34m", "[35m", "[36m"}) {
    EXPECT_EQ(coloured.find(colour), std::string::npos);
  }
}

TEST_F(BrowseTest, GivesTheTerminalBackWhenItIsKilled) {
  for (const char* name : {"TERM", "SEGV", "HUP"}) {
    Start();
    ASSERT_TRUE(Shows("Software"));
    const std::string shell = Tmux({"display-message", "-p", "#{pane_pid}"});
    RunCommand({"pkill", std::string("-") + name, "-P", shell.substr(0, shell.find('\n'))});
    EXPECT_TRUE(Shows("ended 1")) << name;
    EXPECT_TRUE(Shows("sane")) << name;
    EXPECT_EQ(Screen().find("Software"), std::string::npos) << name;
    Tmux({"kill-server"});
  }
}

}  // namespace
}  // namespace orvik::test
