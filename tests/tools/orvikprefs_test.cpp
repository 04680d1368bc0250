#include "tools/orvikprefs/run.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include "tests/support/test_environment.h"
#include "tools/orvikprefs/json_form.h"

namespace orvik::test {
namespace {

constexpr const char* kFile = "Users/Shared/Library/Preferences/com.orviktech.Registry.plist";

class OrvikPrefsTest : public EnvironmentTest {
 protected:
  int Prefs(std::vector<std::string> arguments, bool terminal = false) {
    arguments.insert(arguments.begin(), "orvikprefs");
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    std::ostringstream out, error;
    const int status =
        prefstool::Run(static_cast<int>(argv.size()), argv.data(), terminal, out, error);
    out_ = out.str();
    error_ = error.str();
    return status;
  }

  fs::path File() const { return env_.system_root() / kFile; }

  void Fill() {
    ASSERT_EQ(Prefs({"set", "Software/Vendor/App", "Path", "/Apps/Größe"}), 0) << error_;
    ASSERT_EQ(Prefs({"set", "Software/Vendor/App", "Count", "42", "--int"}), 0) << error_;
    ASSERT_EQ(Prefs({"set", "Software/Vendor", "line\nbreak", "a\tb"}), 0) << error_;
  }

  std::string out_, error_;
};

TEST_F(OrvikPrefsTest, GetsWhatWasSetInEveryScope) {
  for (const char* scope : {"shared", "user", "machine", "2", "5"}) {
    SCOPED_TRACE(scope);
    ASSERT_EQ(Prefs({"--scope", scope, "set", "A/B", "text", scope}), 0) << error_;
    EXPECT_EQ(out_, "");
    ASSERT_EQ(Prefs({"--scope", scope, "set", "A\\B", "number", "-7", "--int"}), 0) << error_;
    ASSERT_EQ(Prefs({"get", "A/B", "text", "--scope", scope}), 0) << error_;
    EXPECT_EQ(out_, std::string(scope) + "\n");
    ASSERT_EQ(Prefs({"--scope", scope, "get", "/A/B/", "number", "--type"}), 0);
    EXPECT_EQ(out_, "integer\n");
    ASSERT_EQ(Prefs({"--scope", scope, "--json", "get", "A", "B"}), 0);
    EXPECT_EQ(out_, std::string("{\n  \"number\": -7,\n  \"text\": \"") + scope + "\"\n}\n");
  }
  EXPECT_TRUE(fs::exists(env_.home() / "Library/Preferences/com.orviktech.Registry.plist"));
  EXPECT_TRUE(fs::exists(env_.system_root() / "Library/Preferences/.com.orviktech.Registry.plist"));
}

TEST_F(OrvikPrefsTest, WritesTopLevelValuesAndEmptyTexts) {
  ASSERT_EQ(Prefs({"set", "", "Top", ""}), 0) << error_;
  ASSERT_EQ(Prefs({"get", "", "Top"}), 0) << error_;
  EXPECT_EQ(out_, "\n");
  ASSERT_EQ(Prefs({"list"}), 0);
  EXPECT_EQ(out_, "Top\n");
}

TEST_F(OrvikPrefsTest, TellsFailuresApart) {
  Fill();
  struct {
    std::vector<std::string> arguments;
    int status;
  } const rows[] = {
      {{"get", "Software/Vendor", "none"}, 2},
      {{"get", "Software/None", "x"}, 2},
      {{"get", "Software/Vendor/App/Path", "x"}, 2},
      {{"set", "Software/Vendor/App/Path", "x", "y"}, 3},
      {{"set", "K", "n", "12x", "--int"}, 1},
      {{"--root", env_.system_root() / "mistyped", "set", "K", "n", "x"}, 1},
      {{"set", "K", "n", "2147483648", "--int"}, 1},
      {{"set", "K", "n", "\xFF"}, 1},
      {{"set", "K", "n"}, 1},
      {{"--scope", "6", "list"}, 1},
      {{"--domain", "", "list"}, 1},
      {{"--domain", "../x", "set", "K", "n", "v"}, 1},
      {{"frobnicate"}, 1},
      {{}, 1},
      {{"delete", "Software/Vendor", "none"}, 2},
      {{"delete-key", "Software/None", "--recursive"}, 2},
      {{"delete-key", "Software/Vendor"}, 1},
      {{"set", "Software/Vendor/App", "Path", "z", "--if-equals", "other"}, 6},
      {{"set", "Software/Vendor/App", "Path", "z", "--if-absent"}, 6},
      {{"find", "nothing like it"}, 2},
      {{"--domain", "never.written", "check"}, 2},
      {{"import", "/nonexistent"}, 2},
      {{"--help"}, 0},
      {{"set", "--help"}, 0},
  };
  const std::string before = ReadFile(File());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments.empty() ? "no arguments" : row.arguments.back());
    EXPECT_EQ(Prefs(row.arguments), row.status) << error_;
    if (row.status != 0 && row.arguments != std::vector<std::string>{"find", "nothing like it"}) {
      EXPECT_NE(error_, "");
    }
  }
  EXPECT_EQ(ReadFile(File()), before);
}

TEST_F(OrvikPrefsTest, ChangesUnderConditions) {
  Fill();
  EXPECT_EQ(Prefs({"set", "Software/Vendor/App", "Count", "43", "--int", "--if-equals", "42"}), 0);
  EXPECT_EQ(Prefs({"set", "Software/Vendor/App", "Path", "new", "--if-equals", "/Apps/Größe"}), 0);
  EXPECT_EQ(Prefs({"set", "Fresh/Key", "n", "v", "--if-absent"}), 0);
  Prefs({"tree", "Software/Vendor/App"});
  EXPECT_EQ(out_,
            "Software/Vendor/App/Count\tinteger\t43\n"
            "Software/Vendor/App/Path\tstring\tnew\n");
}

TEST_F(OrvikPrefsTest, ListsAndFinds) {
  Fill();
  Prefs({"list", "Software/Vendor"});
  EXPECT_EQ(out_, "App\nline\nbreak\n");
  Prefs({"-z", "list", "Software/Vendor"});
  EXPECT_EQ(out_, std::string("App\0line\nbreak\0", 15));
  Prefs({"find", "größe", "-i"});
  EXPECT_EQ(out_, "Software/Vendor/App/Path\tstring\t/Apps/Größe\n");
  Prefs({"find", "break"});
  EXPECT_EQ(out_, "Software/Vendor/line\\nbreak\tstring\ta\\tb\n");
  setenv("NO_COLOR", "1", 1);
  Prefs({"tree"}, true);
  unsetenv("NO_COLOR");
  EXPECT_EQ(out_,
            "Software/\n"
            "  Vendor/\n"
            "    App/\n"
            "      Count  integer  42\n"
            "      Path   string  /Apps/Größe\n"
            "    line\\nbreak  string  a\\tb\n");
}

TEST_F(OrvikPrefsTest, DeletesValuesAndKeys) {
  Fill();
  EXPECT_EQ(Prefs({"delete", "Software/Vendor/App", "Path"}), 0);
  EXPECT_EQ(Prefs({"delete-key", "Software/Vendor", "-r"}), 0);
  Prefs({"--json", "tree"});
  EXPECT_EQ(out_, "{\n  \"Software\": {}\n}\n");
  EXPECT_EQ(Prefs({"delete-key", "Software"}), 0);
  Prefs({"--json", "list"});
  EXPECT_EQ(out_, "[]\n");
}

TEST_F(OrvikPrefsTest, ExportsAndImportsEveryKindOfValue) {
  const fs::path json = env_.folder() / "in.json";
  const std::string content =
      R"({"Other":{"big":18446744073709551615,"data":{"$data":"AAEC"},)"
      R"("date":{"$date":"2024-05-06T07:08:09Z"},"list":[true,-1,2.5,"x"],)"
      R"("odd":{"$dictionary":{"$date":"a plain text"}},"real":{"$real":"nan"}}})";
  WriteFile(json, content);
  Fill();
  ASSERT_EQ(Prefs({"import", json.string(), "--dry-run"}), 0) << error_;
  EXPECT_TRUE(Contains(out_, "+\tOther/data\t\t\tdata\tAAEC\n"));
  EXPECT_EQ(Prefs({"list"}), 0);
  EXPECT_EQ(out_, "Software\n");

  ASSERT_EQ(Prefs({"import", json.string()}), 0) << error_;
  Prefs({"list"});
  EXPECT_EQ(out_, "Other\nSoftware\n");
  const fs::path xml = env_.folder() / "out.plist";
  ASSERT_EQ(Prefs({"export", "-o", xml.string()}), 0) << error_;
  ASSERT_EQ(Prefs({"diff", xml.string(), "--exit-code"}), 0) << out_;
  ASSERT_EQ(Prefs({"import", json.string(), "--replace"}), 0) << error_;
  EXPECT_EQ(Prefs({"diff", xml.string(), "--exit-code"}), 6);
  ASSERT_EQ(Prefs({"export", "--format", "json"}), 0);
  EXPECT_EQ(prefstool::Json::parse(out_).dump(), content);
}

TEST_F(OrvikPrefsTest, RefusesWhatIsNoPropertyList) {
  const fs::path file = env_.folder() / "in";
  for (const char* content : {"{\"a\": null}", "{\"a\": 1e400}", "[1]",
                              "{\"a\": {\"$date\": \"soon\"}}", "<plist>", ""}) {
    SCOPED_TRACE(content);
    WriteFile(file, content);
    EXPECT_EQ(Prefs({"import", file.string()}), 5);
    EXPECT_NE(error_, "");
    EXPECT_FALSE(fs::exists(File()));
  }
}

TEST_F(OrvikPrefsTest, NeverOverwritesADamagedFileUnasked) {
  Fill();
  std::string broken = ReadFile(File());
  broken.resize(broken.rfind("</dict>"));
  WriteFile(File(), broken);
  EXPECT_EQ(Prefs({"check"}), 5);
  EXPECT_EQ(Prefs({"set", "A", "b", "c"}), 5);
  EXPECT_TRUE(Contains(error_, "repair"));
  EXPECT_EQ(Prefs({"list"}), 5);
  EXPECT_EQ(ReadFile(File()), broken);

  ASSERT_EQ(Prefs({"--json", "repair"}), 0) << error_;
  EXPECT_TRUE(Contains(out_, "kept_copy"));
  EXPECT_EQ(Prefs({"get", "Software/Vendor/App", "Count"}), 0) << error_;
  bool kept = false;
  for (const auto& entry : fs::directory_iterator(File().parent_path())) {
    kept |= entry.is_regular_file() && ReadFile(entry.path()) == broken;
  }
  EXPECT_TRUE(kept);
  EXPECT_EQ(Prefs({"check"}), 0);
}

TEST_F(OrvikPrefsTest, SaysWhereTheFilesAre) {
  Fill();
  Prefs({"where"});
  EXPECT_EQ(out_.substr(0, out_.find('\n')), "shared\t" + File().string() + "\tsound\twritable");
  EXPECT_TRUE(Contains(out_, "\tabsent\twritable\n"));
}

TEST_F(OrvikPrefsTest, ShowsAndFreesTheLock) {
  Prefs({"lock"});
  EXPECT_EQ(out_, "free\n");
  const auto record = [&](const std::string& process, pid_t pid) {
    const std::vector<std::string> user = {"--scope", "user", "--domain",
                                           "com.orviktech.Registry.lock"};
    for (std::vector<std::string> change :
         {std::vector<std::string>{"set", "", "lock", "1", "--int"},
          {"set", "", "process", process},
          {"set", "", "pid", std::to_string(pid), "--int"}}) {
      change.insert(change.begin(), user.begin(), user.end());
      ASSERT_EQ(Prefs(change), 0) << error_;
    }
  };
  record("a program that is not running", getpid());
  Prefs({"lock"});
  EXPECT_EQ(out_.substr(0, 36), "stale\ta program that is not running\t");
  EXPECT_EQ(Prefs({"lock", "--release"}), 0) << error_;
  Prefs({"lock"});
  EXPECT_EQ(out_, "free\n");

  record(fs::read_symlink("/proc/self/exe").filename().string(), getpid());
  EXPECT_EQ(Prefs({"lock", "--release"}), 4);
  EXPECT_EQ(Prefs({"lock", "--force"}), 0) << error_;
  Prefs({"--json", "lock"});
  EXPECT_TRUE(Contains(out_, "\"free\""));
}

TEST_F(OrvikPrefsTest, WatchesAFolderThatDoesNotExistYet) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    const std::string program = (ProgramFolder() / "orvikprefs").string();
    execl(program.c_str(), program.c_str(), "--json", "watch", "--count", "2", nullptr);
    _exit(127);
  }
  close(ends[1]);
  // Changes made before the watch is ready would not be told: repeat until it has ended.
  int status = 0;
  for (int i = 0; waitpid(child, &status, WNOHANG) == 0; ++i) {
    ASSERT_LT(i, 600);
    ASSERT_EQ(Prefs({"set", "A/B", "n", std::to_string(i), "--int"}), 0) << error_;
    usleep(20000);
  }
  EXPECT_EQ(status, 0);
  std::string told(4096, '\0');
  told.resize(static_cast<size_t>(std::max<ssize_t>(0, read(ends[0], told.data(), told.size()))));
  close(ends[0]);
  EXPECT_TRUE(Contains(told, "\"path\":[\"A\",\"B\",\"n\"]"));
}

}  // namespace
}  // namespace orvik::test
