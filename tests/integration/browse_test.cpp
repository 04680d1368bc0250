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
  void Start(const std::string& arguments, const std::string& shown, int columns = 80,
             int rows = 24, const std::string& variable = "") {
    ++server_;
    const std::string program = (ProgramFolder() / "orvikprefs").string();
    Tmux({"new-session", "-d", "-x", std::to_string(columns), "-y", std::to_string(rows),
          variable + " " + program + " browse " + arguments +
              "; echo ended $?; stty -a | grep -q ' echo ' && echo sane; sleep 1000"});
    ASSERT_TRUE(Shows(shown));
  }
  void TypeText(const std::string& text) { Tmux({"send-keys", "-l", text}); }
  // Types keys, by their names in tmux and parted by blanks, and 'text' in quotes.
  void Type(const std::string& keys) {
    for (std::size_t at = 0, end = 0; at < keys.size(); at = end + 1) {
      const bool is_text = keys[at] == '\'';
      end = std::min(keys.find(is_text ? '\'' : ' ', at + 1), keys.size());
      const std::string word = keys.substr(at + (is_text ? 1 : 0), end - at - (is_text ? 1 : 0));
      if (is_text) {
        TypeText(word);
        ++end;
      } else {
        Tmux({"send-keys", word});
      }
    }
  }
  // Types, then waits until the screen shows the text.
  struct Step {
    std::string keys, shown;
  };
  void Play(const std::vector<Step>& steps) {
    for (const auto& [keys, shown] : steps) {
      Type(keys);
      ASSERT_TRUE(Shows(shown)) << "after: " << keys;
    }
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
  Start("", "\u25B8 Software");
  Play({{"", "shared  com.orviktech.Registry"},
        {"", "q quit"},
        {"Down Right Down", "/Software/Other"},
        {"", "photo\\u202egnp\\x1b[2J"},
        {"Down Enter Down Tab Down", "/Software/Vendor/App/Path"},
        {"", "string   /opt/app"},
        {"", "\u4E2D\u6587 e\u0301"},
        {"F9", "this key does nothing here"},
        {"q", "ended 0"},
        {"", "sane"}});
}

TEST_F(BrowseTest, SelectsWhatIsClicked) {
  Start("Software/Vendor/App", " /Software/Vendor/App");
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
  Start("", "Software");
  Play({{"/ 'OPT'", "1 found"},
        {"", "/Software/Vendor/App/Path = /opt/app"},
        {"Enter", "hit 1 of 1"},
        {"", " /Software/Vendor/App/Path"},
        {"g 'So' Tab 'O' Tab Tab Enter", " /Software/Other"}});
}

TEST_F(BrowseTest, EditsEveryTypeAndWritesAtOnce) {
  UseEditor("echo '[1, \"two\"]' > \"$1\"\n");
  const std::string key = "/Software/Vendor/App/";
  Start("Software/Vendor/App/Count", " " + key + "Count");
  Play({{"e BSpace 'x'", "this is not"},
        {"Enter BSpace '3' Enter", "1 change"},  // the mistake is not taken
        {"a", "Type of the new value"},
        {"Enter", "name:"},
        {"'s' Enter 'new' Enter", key + "s"},
        {"a Down Down Enter 'r' Enter '2.5' Enter", key + "r"},
        {"a Down Down Down Enter 'b' Enter 'yes' Enter", key + "b"},
        {"a Down Down Down Down Enter 'd' Enter '2024-05-06T07:08:09Z' Enter", key + "d"},
        {"a Down Down Down Down Down Enter 'x' Enter '00ff' Enter", key + "x"},
        {"a End Enter 'list' Enter", "[1,\"two\"]"},
        {"c", "~ Software/Vendor/App/Count = integer 42 -> integer 43"},
        {"", "+ Software/Vendor/App/x = data AP8="}});
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Count"), "42");
  Play({{"w", "7 changes written"}});
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Count"), "43");
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"s"), "new");
}

// A line is open, or a change waits, while another process changes the value, or removes it.
TEST_F(BrowseTest, ShowsWhatOthersDoAndNeverOverwritesIt) {
  Start("Software/Vendor/App/Path", " /Software/Vendor/App/Path");
  Play({{"e '/mine'", "string: /opt/app/mine"}});
  Write(u"Software/Vendor/App", u"Path", u"/theirs");
  Write(u"Software/Vendor/App", u"Name", u"above");
  Play({{"", "above"},
        {"Enter", "another process changed /Software/Vendor/App/Path meanwhile"},
        {"", "1 conflict"},
        {"w", "settle the conflicts first"},
        {"q", "1 change is not written"},
        {"Escape C", "theirs  string /theirs\n   mine    string /opt/app/mine\n"},
        {"m", "1 change"}});
  Write(u"Software/Vendor/App", u"Title", u"theirs");
  Play({{"", "~Title"}, {"", "changed by another process"}, {"w", "1 change written"}});
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app/mine");
  Play({{"d", "deleted /Software/Vendor/App/Path"},
        {"u", "undo: delete /Software/Vendor/App/Path"}});
  RunCommand({(ProgramFolder() / "orvikprefs").string(), "delete", "Software/Vendor/App", "Path"});
  Play({{"", "Path is gone"}, {"d", "/Software/Vendor/App/Path is gone; select it again"}});
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Name"), "above");
}

TEST_F(BrowseTest, TakesPastedTextAsTextAndCtrlCAsAQuestion) {
  Start("Software/Vendor/App/Path", " /Software/Vendor/App/Path");
  Tmux({"set-buffer", "d\nw\nq\n"});
  Tmux({"paste-buffer", "-p"});
  Play({{"", "pasted text is not taken as keys"}, {"e C-u", "string:"}});
  Tmux({"paste-buffer", "-p"});
  Play({{"", "string: d\u240Aw\u240Aq\u240A"},
        {"Enter C-z", "d\\nw\\nq\\n"},  // no shell is there that could let a stopped process go on
        {"C-c", "1 change is not written"},
        {"C-c c", "Changes that w writes"},
        {"C-c C-c d", "ended 0"}});
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app");
}

TEST_F(BrowseTest, KeepsTheTextOfAnEditorThatFails) {
  UseEditor("echo '[1, \"two\"]' > \"$1\"; exit 1\n");
  Start("Software", " /Software");
  Play({{"a End Enter 'list' Enter", "the editor failed"}, {"Escape", "the text is kept in"}});
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
  Start("", "damaged: R repairs it");
  Play({{"A 'new' Enter w", "nothing is written"}});
  EXPECT_EQ(ReadFile(file), "<plist><dict>");
  WriteFile(file, "<plist><dict><key>kept</key><string>x</string><key>lost</dict></plist>");
  Play({{"R", "Repair saves 1 top-level entries and loses 1"},
        {"y", "repaired; the damaged file is"}});
  EXPECT_TRUE(Contains(ReadFile(file), "<key>kept</key>"));
}

TEST_F(BrowseTest, FitsEveryScreenWithAndWithoutColour) {
  const auto resize = [this](const char* columns, const char* rows) {
    Tmux({"resize-window", "-x", columns, "-y", rows});
  };
  Start("Software/Vendor/App", " /Software/Vendor/App", 200, 60);
  resize("40", "10");
  Play({{"", "Software/Vendor/App"},
        {"", "? help  q quit  w write"},
        {"d", "delete /Software/Vendor/App with 3\nentries?\ny delete  Esc back"},
        {"y q", "1 change is not written"},
        {"Escape a F1", "move, open, close"},
        {"End", "Nothing is written before w."},
        {"Escape Escape u Tab", "Count"}});
  resize("20", "4");
  Type("Down Up ?");
  resize("120", "40");
  EXPECT_TRUE(Shows("Nothing is written before w"));
  EndServer();
  const ScopedVariable plain("NO_COLOR", "1");
  Start("", "Software");
  const std::string coloured = Tmux({"capture-pane", "-p", "-e"});
  for (const char* colour : {"[31m", "[32m", "[33m", "[34m", "[35m", "[36m"}) {
    EXPECT_EQ(coloured.find(colour), std::string::npos);
  }
}

TEST_F(BrowseTest, KeepsChangesWhenItIsEndedAndOffersThem) {
  const fs::path folder = env_.home() / "Library/Application Support/orvikprefs";
  for (const std::string name : {"SEGV", "TERM", "HUP", "INT"}) {
    SCOPED_TRACE(name);
    Start("Software/Vendor/App/Path", " /Software/Vendor/App/Path");
    Play({{"d", "1 change"}});
    if (name == "HUP") Type("e C");  // in a dialog, too
    Kill(name.c_str());
    Play({{"", "ended 1"}, {"", "sane"}});
    EXPECT_EQ(Screen().find("Vendor/App"), std::string::npos);
    ASSERT_EQ(name != "SEGV", fs::exists(folder));
    if (name != "SEGV") {
      EXPECT_TRUE(Shows("1 change kept in"));
      EXPECT_EQ(NamesIn(folder).size(), 1u);
      EndServer();
      Start("", "1 change of a browser that was ended before it wrote them is kept");
      Play({{"t", "taken over"},
            {"c", "- Software/Vendor/App/Path = string /opt/app"},
            {"Escape q d", "ended 0"}});
      EXPECT_TRUE(NamesIn(folder).empty());
    }
    EndServer();
  }
  EXPECT_EQ(Stored(u"Software/Vendor/App", u"Path"), "/opt/app");
}

TEST_F(BrowseTest, SaysForWhomItWaits) {
  const OtherProcess holder([] { LockGlobalSharedPList(kDomain); });
  Start("--timeout 300 Software/Vendor/App/Path", " /Software/Vendor/App/Path");
  Play({{"", "locked by"},
        {"d w", ", process " + std::to_string(holder.pid())},
        {"", "1 s of 300 s"},
        {"q x w Escape", "nothing is written: cancelled"},  // keys do not wait in a queue
        {"", "1 change"}});
  UnlockGlobalSharedPList(kDomain);
  Play({{"w", "1 change written"}});
  LockGlobalSharedPList(kDomain);
  EndServer();
  Start("--timeout 0 Software/Vendor/App", " /Software/Vendor/App");
  Play({{"A 'key' Enter w", "nothing is written: the lock was not free within 0 s"}});
  UnlockGlobalSharedPList(kDomain);
}

TEST_F(BrowseTest, RefusesTerminalsThatCannotShowIt) {
  for (const auto& [name, message] :
       {std::pair("dumb", "TERM=\"dumb\" cannot move the cursor"),
        std::pair("no-such-terminal", "TERM=\"no-such-terminal\" is not in this machine's")}) {
    Start("", message, 80, 24, std::string("TERM=") + name);
    Play({{"", "ended 1"}, {"", "sane"}});
  }
}

TEST_F(BrowseTest, ViewsConvertsExportsAndCopies) {
  Start("Software/Vendor/App/Count", " /Software/Vendor/App/Count");
  Tmux({"set-option", "-s", "set-clipboard", "on"});
  Play({{"t Home Enter v", "string, 2 UTF-16 units"},
        {"", "before: integer\n 42"},
        {"Escape P", "value copied"}});
  EXPECT_EQ(Tmux({"show-buffer"}), "42");
  Play({{"p", "path copied"}});
  EXPECT_EQ(Tmux({"show-buffer"}), "Software/Vendor/App/Count");
  const std::string file = At("export.json").string();
  for (const bool exists : {false, true}) {
    Type("x '" + file + "' Enter" + (exists ? " o" : ""));
    EXPECT_TRUE(Holds(file, "\"42\"\n"));  // the message of the first time still stands
    EXPECT_TRUE(Shows("exported /Software/Vendor/App/Count to"));
    WriteFile(file, "other");
  }
}

TEST_F(BrowseTest, EditsLongTextInOneStep) {
  Write(u"Software/Long", u"text", CAtlString(Repeated("long text ", 10'000).c_str()));
  UseEditor("sed -i 's/long/short/' \"$1\"\n");
  Start("Software/Long/text", " /Software/Long/text");
  // A line takes as much, pasted.
  WriteFile(At("paste"), Repeated("0123456789", 10'000));
  Play({{"e", "short text long"}, {"Left a Enter", "name:"}, {"'pasted' Enter", "string:"}});
  Tmux({"load-buffer", At("paste").string()});
  Tmux({"paste-buffer", "-p"});
  Play({{"", "123456789"}, {"Home x Enter", "x0123456789"}});
}

}  // namespace
}  // namespace orvik::test
