#include "tools/orvikprefs/program.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <regex>
#include <sstream>

#include "host/file_lock.h"
#include "tests/support/test_environment.h"

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
      {{"set", "K", "n", "18446744073709551616", "--int"}, 1},
      {{"set", "K", "n", "maybe", "--bool"}, 1},
      {{"set", "K", "n", "1.5x", "--real"}, 1},
      {{"set", "K", "n", "soon", "--date"}, 1},
      {{"set", "K", "n", "[1,]", "--json"}, 1},
      {{"set", "K", "n", "1", "--int", "--bool"}, 1},
      {{"set", "K", "n", "--int"}, 1},
      {{"set", "K", "n", "v", "--if-absent", "--if-equals", "v"}, 1},
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
      {{"delete-key", "", "-r"}, 1},
      {{"delete-key", "Software/Vendor/App/Path", "-r"}, 2},
      {{"delete", "Software", "Vendor"}, 6},
      {{"set", "Software", "Vendor", "v"}, 6},
      {{"rename", "Software/None", "Software/Other"}, 2},
      {{"rename", "Software/Vendor", "Path", "Software/Other"}, 1},
      {{"copy", "Software/Vendor", "Software/Vendor/App"}, 6},
      {{"copy", "Software/Vendor/App", "Path", "Software/Vendor/App", "Count"}, 6},
      {{"copy", "Software/Vendor/App", "Path", "Software/Vendor/App/Count", "n"}, 3},
      {{"watch", "--count", "0"}, 1},
      {{"help", "frobnicate"}, 1},
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

// Conditions hold for the text that get prints, in every type, and for other spellings of it.
TEST_F(OrvikPrefsTest, SetsEveryTypeUnderConditions) {
  const struct {
    const char* option;
    const char* type;
    std::string value, shown, other;
  } kRows[] = {
      {"-q", "string", "-x", "-x", "x"},
      {"--int", "integer", "-9223372036854775808", "-9223372036854775808", "0"},
      {"--int", "integer", "18446744073709551615", "18446744073709551615", "-1"},
      {"--real", "real", "2.50", "2.5", "2"},
      {"--real", "real", "-inf", "-inf", "inf"},
      {"--bool", "boolean", "yes", "true", "false"},
      {"--bool", "boolean", "OFF", "false", "On"},
      {"--date", "date", "2024-05-06T07:08:09Z", "2024-05-06T07:08:09Z", "2024-05-06T07:08:10Z"},
      {"--data", "data", "AAEC", "AAEC", "AAED"},
      {"--json", "array", "[ 1, {\"a\": [ ] } ]", "[1,{\"a\":[]}]", "[1]"},
      {"--json", "real", "1e3", "1000.0", "1000.5"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.shown);
    ASSERT_EQ(Prefs({"set", row.option, "K", "n", row.value}), 0) << error_;
    ASSERT_EQ(Prefs({"get", "K", "n"}), 0);
    EXPECT_EQ(out_, row.shown + "\n");
    Prefs({"get", "K", "n", "--type"});
    EXPECT_EQ(out_, row.type + std::string("\n"));
    EXPECT_EQ(Prefs({"set", "K", "n", "new", "--if-equals=" + row.other}), 6);
    EXPECT_TRUE(Contains(error_, "is not \"" + row.other));
    EXPECT_EQ(Prefs({"set", "K", "n", "new", "--if-absent"}), 6);
    EXPECT_TRUE(Contains(error_, "there is a value already"));
    EXPECT_EQ(Prefs({"set", "K", "n", "new", "--if-equals", row.shown}), 0) << error_;
    ASSERT_EQ(Prefs({"set", row.option, "K", "n", "--if-equals", "new", "--", row.value}), 0)
        << error_;
    EXPECT_EQ(Prefs({"set", "K", "n", "", "--if-equals=" + row.value}), 0) << error_;
    EXPECT_EQ(Prefs({"set", "K", "n", "x", "--if-equals="}), 0) << error_;
  }
  EXPECT_EQ(Prefs({"set", "Fresh/Key", "n", "v", "--if-absent"}), 0);
  EXPECT_EQ(Prefs({"set", "Fresh/Key", "m", "v", "--if-equals", "w"}), 6);
  EXPECT_TRUE(Contains(error_, "there is no value"));
  EXPECT_EQ(Prefs({"set", "K", "n", "++"}), 0);
  EXPECT_EQ(Prefs({"get", "K", "n"}), 0);
  EXPECT_EQ(out_, "++\n");
}

TEST_F(OrvikPrefsTest, GetsDefaultsKeysAndForms) {
  Fill();
  EXPECT_EQ(Prefs({"get", "Software/Vendor/App", "none", "--default", "a\\b"}), 0);
  EXPECT_EQ(out_, "a\\b\n");
  EXPECT_EQ(Prefs({"get", "Software/Vendor/App/Path", "none", "--default="}), 0);
  EXPECT_EQ(out_, "\n");
  EXPECT_EQ(Prefs({"get", "Software/Vendor/App"}), 0);
  EXPECT_EQ(out_, "{\n  \"Count\": 42,\n  \"Path\": \"/Apps/Größe\"\n}\n");
  EXPECT_EQ(Prefs({"get", "Software/Vendor/App", "--format", "xml"}), 0);
  EXPECT_TRUE(Contains(out_, "<dict>\n\t<key>Count</key>\n\t<integer>42</integer>"));
  EXPECT_EQ(Prefs({"get", "Software/Vendor/App", "Path", "--format", "json"}), 0);
  EXPECT_EQ(out_, "\"/Apps/Größe\"\n");
}

// A name may hold what separates names; what is printed can be given back.
TEST_F(OrvikPrefsTest, ReachesNamesWithSeparators) {
  ASSERT_EQ(Prefs({"set", R"(["a/b","c\\d"])", "e/f", "v"}), 0) << error_;
  EXPECT_EQ(Prefs({"get", R"([ "a/b", "c\\d" ])", "e/f"}), 0) << error_;
  EXPECT_EQ(out_, "v\n");
  Prefs({"-z", "tree"});
  EXPECT_EQ(out_, std::string(R"(["a/b","c\\d","e/f"])") + '\0' + "string" + '\0' + "v" + '\0');
  EXPECT_EQ(Prefs({"set", "[x]", "n", "w"}), 0) << error_;
  Prefs({"tree", "[x]"});
  EXPECT_EQ(out_, "[\"[x]\",\"n\"]\tstring\tw\n");
  EXPECT_EQ(Prefs({"delete-key", R"(["a/b","c\\d"])", "-r"}), 0) << error_;
  EXPECT_EQ(Prefs({"delete-key", R"(["a/b"])"}), 0) << error_;
}

TEST_F(OrvikPrefsTest, RenamesCopiesAndResets) {
  Fill();
  EXPECT_EQ(Prefs({"rename", "Software/Vendor/App", "Path", "Other/Key", "Folder"}), 0) << error_;
  EXPECT_EQ(Prefs({"copy", "Software/Vendor", "Backup"}), 0) << error_;
  EXPECT_EQ(Prefs({"rename", "Software/Vendor/App", "Backup", "--replace"}), 0) << error_;
  Prefs({"tree"});
  EXPECT_EQ(out_,
            "Backup/Count\tinteger\t42\n"
            "Other/Key/Folder\tstring\t/Apps/Größe\n"
            "Software/Vendor/line\\nbreak\tstring\ta\\tb\n");
  EXPECT_EQ(Prefs({"reset", "Software"}), 0) << error_;
  EXPECT_EQ(Prefs({"reset", "None/Such"}), 0) << error_;
  EXPECT_EQ(Prefs({"delete", "Other", "Key", "--recursive"}), 0) << error_;
  EXPECT_EQ(Prefs({"set", "", "Other", "now a value", "--replace-key"}), 0) << error_;
  Prefs({"--json", "tree"});
  EXPECT_EQ(out_,
            "{\n  \"Backup\": {\n    \"Count\": 42\n  },\n  \"Other\": \"now a value\",\n"
            "  \"Software\": {}\n}\n");
  EXPECT_EQ(Prefs({"reset", ""}), 0) << error_;
  Prefs({"--json", "list"});
  EXPECT_EQ(out_, "[]\n");
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
  out_.erase(std::remove_if(out_.begin(), out_.end(), isspace), out_.end());
  EXPECT_EQ(std::regex_replace(out_, std::regex("aplaintext"), "a plain text"), content);
}

TEST_F(OrvikPrefsTest, ExchangesAPartOfATree) {
  Fill();
  const std::string file = (env_.folder() / "app.json").string();
  ASSERT_EQ(Prefs({"export", "Software/Vendor/App", "--format=json", "-o", file}), 0) << error_;
  EXPECT_EQ(ReadFile(file), "{\n  \"Count\": 42,\n  \"Path\": \"/Apps/Größe\"\n}\n");
  EXPECT_EQ(Prefs({"diff", file, "Software/Vendor/App", "--exit-code"}), 0);
  EXPECT_EQ(Prefs({"diff", file, "New/Key", "--exit-code"}), 6);
  EXPECT_EQ(out_, "+\tNew/Key/Count\t\t\tinteger\t42\n+\tNew/Key/Path\t\t\tstring\t/Apps/Größe\n");
  ASSERT_EQ(Prefs({"import", file, "New/Key"}), 0) << error_;
  EXPECT_EQ(Prefs({"diff", file, "New/Key", "--exit-code"}), 0);

  // A real is not the integer that equals it, and a value takes no key's place unasked.
  WriteFile(file, R"({"Count": 42.0, "Path": {"deep": 1}})");
  Prefs({"diff", file, "New/Key"});
  EXPECT_EQ(out_,
            "~\tNew/Key/Count\tinteger\t42\treal\t42.0\n"
            "~\tNew/Key/Path\tstring\t/Apps/Größe\tdictionary\t{\"deep\":1}\n");
  ASSERT_EQ(Prefs({"import", file, "New/Key", "--replace"}), 0) << error_;
  WriteFile(file, R"({"Path": 1})");
  EXPECT_EQ(Prefs({"import", file, "New/Key"}), 6);
  EXPECT_TRUE(Contains(error_, "--replace-key"));
  EXPECT_EQ(Prefs({"import", file, "New/Key", "--replace-key", "-n"}), 0) << error_;
  EXPECT_EQ(out_, "~\tNew/Key/Path\tdictionary\t{\"deep\":1}\tinteger\t1\n");
  // Standard output under another name.
  EXPECT_EQ(Prefs({"export", "New", "--format", "json", "-o", "/dev/stdout"}), 0) << error_;
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

// In binary form, { K = { d = a date that is no number; } }.
TEST_F(OrvikPrefsTest, KeepsADateThatNobodyTouchedToTheBit) {
  Fill();
  WriteFile(File(), std::string("bplist00\xD1\x01\x02\x51K\xD1\x03\x04\x51"
                                "d\x33\x7F\xF8\0\0\0\0\0\0\x08\x0B\x0D\x10\x12",
                                32) +
                        std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') + "\x05" +
                        std::string(15, '\0') + "\x1B");
  EXPECT_EQ(Prefs({"check"}), 0) << error_;
  EXPECT_EQ(Prefs({"set", "K", "other", "1"}), 0) << error_;
  EXPECT_TRUE(Contains(ReadFile(File()), "<date exact=\"7ff8000000000000\">"));
}

TEST_F(OrvikPrefsTest, NeverOverwritesADamagedFileUnasked) {
  Fill();
  std::string broken = ReadFile(File());
  broken.resize(broken.rfind("</dict>"));
  WriteFile(File(), broken);
  EXPECT_EQ(Prefs({"check"}), 5);
  EXPECT_TRUE(Contains(error_, ", column ")) << error_;
  EXPECT_EQ(Prefs({"set", "A", "b", "c"}), 5);
  EXPECT_TRUE(Contains(error_, "repair"));
  EXPECT_EQ(Prefs({"list"}), 5);
  EXPECT_EQ(ReadFile(File()), broken);

  ASSERT_EQ(Prefs({"repair", "--dry-run"}), 0) << error_;
  EXPECT_TRUE(Contains(error_, "the list breaks off")) << error_;
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

TEST_F(OrvikPrefsTest, NamesTheFileAndTheReason) {
  Fill();
  const std::string json = (env_.folder() / "in.json").string();
  WriteFile(json, "{\n  \"a\": tru\n}\n");
  const std::string long_name(120000, 'x');
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* message;
  } kRows[] = {
      {{"import", json}, 5, "no JSON: line 2, column 8 (byte 9)"},
      {{"import", "/nonexistent/file"}, 2, "\"/nonexistent/file\" cannot be read: No such file"},
      {{"import", env_.folder().string()}, 5, "Is a directory"},
      {{"export", "-o", "/nonexistent/file"},
       3,
       "\"/nonexistent/file\" cannot be written: No such"},
      {{"get", long_name, "n"}, 2, "(120000 bytes): not found"},
      {{"frobnicat\x1b[31m\u202e"}, 1, "\"frobnicat\\x1b[31m\\u202e\" is no command"},
      {{"delete-kye", "A"}, 1, "did you mean \"delete-key\"?"},
      {{"set", "K", "n", "v", "--frob\x1b"}, 1, "\"--frob\\x1b\" is no option of set"},
      {{"--root", "/none\n", "list"}, 1, "\\n"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.message);
    EXPECT_EQ(Prefs(row.arguments), row.status);
    EXPECT_TRUE(Contains(error_, row.message));
    EXPECT_LT(error_.size(), 700u);
    EXPECT_EQ(error_.find('\x1b'), std::string::npos);
  }
  // What may not be read is not damaged.
  if (geteuid() != 0) {
    fs::permissions(File(), fs::perms::none);
    fs::permissions(json, fs::perms::none);
    for (const auto& arguments : {std::vector<std::string>{"check"}, {"list"}, {"import", json}}) {
      EXPECT_EQ(Prefs(arguments), 7) << error_;
    }
  }
}

// Whatever a store holds, a terminal shows it and does not obey it.
TEST_F(OrvikPrefsTest, EscapesWhatWouldActOnATerminal) {
  const std::string acting = "\x1b]0;x\a\x7f\u0085\u202e\u2066\u200f";
  const std::string key = acting + "k";
  ASSERT_EQ(Prefs({"set", key, acting, acting}), 0) << error_;
  ASSERT_EQ(Prefs({"get", key, acting}), 0);
  EXPECT_EQ(out_, acting + "\n");
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"tree"},
                                                    {"list"},
                                                    {"get", key, acting},
                                                    {"get", key},
                                                    {"find", "x"},
                                                    {"export"},
                                                    {"--json", "tree"},
                                                    {"-z", "list"},
                                                    {"export", "--format=json"},
                                                    {"delete", "A", acting},
                                                    {"set", key + "/" + acting, "n", "v"},
                                                    {"delete-key", key}}) {
    SCOPED_TRACE(arguments[0]);
    Prefs(arguments, true);
    for (const char* part : {"\x1b]", "\a", "\x7f", "\u0085", "\u202e", "\u2066", "\u200f"}) {
      EXPECT_EQ((out_ + error_).find(part), std::string::npos) << part;
    }
    EXPECT_GT((out_ + error_).size(), 10u);
  }
}

TEST_F(OrvikPrefsTest, NothingOfTheCallersHomeCountsInAnotherRoot) {
  const fs::path image = env_.folder() / "image", home = env_.folder() / "image/home";
  fs::create_directories(home);
  const ScopedVariable root("ORVIK_SYSTEM_ROOT", env_.system_root().string());
  const ScopedVariable old_home("HOME", env_.home().string());
  ASSERT_EQ(Prefs({"--root", image.string(), "set", "K", "n", "v"}), 0) << error_;
  ASSERT_EQ(Prefs({"--root", image.string(), "--scope=user", "set", "K", "n", "v"}), 0) << error_;
  EXPECT_FALSE(fs::exists(env_.home() / "Library"));
  EXPECT_TRUE(fs::exists(image / "root/Library/Preferences/com.orviktech.Registry.plist"));
  ASSERT_EQ(Prefs({"--root", image.string(), "--home", home.string(), "--scope=user", "set", "K",
                   "n", "v"}),
            0)
      << error_;
  EXPECT_TRUE(fs::exists(home / "Library/Preferences/com.orviktech.Registry.plist"));
}

TEST_F(OrvikPrefsTest, SaysWhereTheFilesAre) {
  Fill();
  Prefs({"where"});
  EXPECT_EQ(out_.substr(0, out_.find('\n')), "shared\t" + File().string() + "\tsound\twritable");
  EXPECT_TRUE(Contains(out_, "\tabsent\twritable\n"));
  ASSERT_EQ(Prefs({"--domain", "a.b", "set", "K", "n", "v"}), 0) << error_;
  ASSERT_EQ(Prefs({"--scope", "2", "--domain", "hidden", "set", "K", "n", "v"}), 0) << error_;
  Prefs({"domains"});
  EXPECT_TRUE(Contains(out_, "a.b\t" + (File().parent_path() / "a.b.plist").string() + "\t"));
  EXPECT_EQ(std::count(out_.begin(), out_.end(), '\n'), 2);
  Prefs({"domains", "--scope", "2", "--json"});
  EXPECT_TRUE(Contains(out_, "\"domain\": \"hidden\""));
}

TEST_F(OrvikPrefsTest, AppliesScripts) {
  Fill();
  const std::string script = (env_.folder() / "wanted").string();
  WriteFile(script,
            "# wanted state\n\n"
            "require-key Software/Vendor/App\n"
            "set Software/Vendor/App Count 43\r\n"
            "set \"Software/Vendor\" \"Two words\" {\"$data\": \"AAEC\"}\n"
            "delete Software/Vendor/App Path\n"
            "delete-key Software/Old\n"
            "make-key Software/Empty\n"
            "merge [\"a/b\"] {\"x\": [1, 2.5]}\n"
            "require-absent Software/Vendor/App Path\n");
  const std::string wanted =
      "~\tSoftware/Vendor/App/Count\tinteger\t42\tinteger\t43\n"
      "-\tSoftware/Vendor/App/Path\tstring\t/Apps/Größe\t\t\n";
  EXPECT_EQ(Prefs({"apply", script, "--check"}), 8) << error_;
  EXPECT_TRUE(Contains(out_, wanted));
  const std::string checked = out_;
  Prefs({"get", "Software/Vendor/App", "Count"});
  EXPECT_EQ(out_, "42\n");
  EXPECT_EQ(Prefs({"apply", script}), 0) << error_;
  EXPECT_EQ(out_, checked);
  EXPECT_TRUE(Contains(out_, "+\tSoftware/Empty\t\t\tdictionary\t{}\n"));
  EXPECT_TRUE(Contains(out_, "+\t[\"a/b\",\"x\"]\t\t\tarray\t[1,2.5]\n"));
  // The second time everything is as wanted.
  const auto written = fs::last_write_time(File());
  EXPECT_EQ(Prefs({"apply", script, "--check"}), 0);
  EXPECT_EQ(Prefs({"--json", "apply", script}), 0);
  EXPECT_EQ(out_, "[]\n");
  EXPECT_EQ(fs::last_write_time(File()), written);

  const std::string before = ReadFile(File());
  const struct {
    std::string script;
    int status;
    const char* message;
  } kRows[] = {
      {"set K n 1\nrequire K n 2\n", 6, "line 2 (\"require K n 2\"): the condition does not hold"},
      {"require K n 1.0\nset K n 1\n", 6, "line 1"},
      {"require-key None\n", 6, "there is no such key"},
      {"require-empty-key Software\n", 6, "the key is not empty"},
      {"require-no-key Software\n", 6, "line 1"},
      {"set \"\" Software 1\n", 6, "a key has this name"},
      {"delete Software Vendor\n", 6, "a key has this name"},
      {"delete-key Software/Vendor/App/Count\n", 6, "line 1"},
      {"merge \"\" {\"Software\": 1}\n", 6, "a key has this name"},
      {"replace Software/Vendor/App/Count {}\n", 3, "the key path leads through a value"},
      {"set Software/Vendor/App/Count n 1\n", 3, "the key path leads through a value"},
      {"set K n\n", 1, "line 1, column 8 (byte 7): a value is expected"},
      {"\nset K n tru\n", 1, "line 2, column 9 (byte 9): this is no JSON value"},
      {"set K n 1 2\n", 1, "line 1, column 11 (byte 10): one word too many"},
      {"set K \"n\n\" 1\n", 1, "the text ends in a string"},
      {"set K n'm 1\n", 1, "needs double quotes"},
      {"merge K [1]\n", 1, "needs an object"},
      {"delete-key \"\"\n", 1, "needs a key below the domain"},
      {"frob K\n", 1, "line 1, column 1 (byte 0): \"frob\" begins no line"},
      {"set \xff n 1\n", 1, "KEY is not UTF-8"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.script);
    WriteFile(script, row.script);
    for (const char* check : {"--check", "-q"}) {
      EXPECT_EQ(Prefs({"apply", script, check}), row.status) << error_;
      EXPECT_TRUE(Contains(error_, row.message));
    }
    EXPECT_EQ(ReadFile(File()), before);
  }
  WriteFile(script, "replace \"\" {\"K\": {\"n\": 1}}\nrequire K n 1\n");
  EXPECT_EQ(Prefs({"apply", script, "-q"}), 0) << error_;
  EXPECT_EQ(out_, "");
  Prefs({"tree"});
  EXPECT_EQ(out_, "K/n\tinteger\t1\n");
}

// The editor is a shell command that stands for the person.
TEST_F(OrvikPrefsTest, EditsATreeAsJson) {
  Fill();
  const auto edit = [&](const std::string& editor, const std::string& key) {
    const ScopedVariable visual("VISUAL", nullptr);
    const ScopedVariable variable("EDITOR", editor);
    return Prefs({"edit", key});
  };
  ASSERT_EQ(Prefs({"set", "K", "n", "1", "--int"}), 0) << error_;
  ASSERT_EQ(Prefs({"set", "K", "d", "AAEC", "--data"}), 0) << error_;
  EXPECT_EQ(edit("sed -i 's/: 1/: 2/'", "K"), 0) << error_;
  Prefs({"get", "K"});
  EXPECT_EQ(out_, "{\n  \"d\": {\n    \"$data\": \"AAEC\"\n  },\n  \"n\": 2\n}\n");
  EXPECT_EQ(edit("printf '{\"new\": {\"deep\": [true]}}' >", ""), 0) << error_;
  Prefs({"tree"});
  EXPECT_EQ(out_, "new/deep\tarray\t[true]\n");
  EXPECT_EQ(edit("printf '{\"x\": 1}' >", "Fresh/Key"), 0) << error_;
  EXPECT_EQ(Prefs({"get", "Fresh/Key", "x"}), 0);

  const std::string before = ReadFile(File());
  EXPECT_EQ(edit("true", "new"), 0);
  EXPECT_EQ(edit("false", "new"), 3);
  EXPECT_EQ(edit("sed -i 's/true/maybe/'", "new"), 1);
  EXPECT_TRUE(Contains(error_, "line 3, column 5"));
  EXPECT_TRUE(Contains(error_, "\n      maybe\n"));
  EXPECT_TRUE(Contains(error_, "the text is kept in"));
  EXPECT_EQ(ReadFile(File()), before);
  const std::string meanwhile =
      "printf '{}' >\"$1\"; " + (ProgramFolder() / "orvikprefs").string() + " set new n 5;:";
  EXPECT_EQ(edit(meanwhile, "new"), 6);
  EXPECT_TRUE(Contains(error_, "has changed meanwhile"));
  EXPECT_EQ(Prefs({"get", "new", "n"}), 0);
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
  EXPECT_TRUE(Contains(error_, ", process " + std::to_string(getpid()) + " of "));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Prefs({"--timeout", "0", "set", "K", "n", "v"}), 4);
  EXPECT_TRUE(Contains(error_, ", process " + std::to_string(getpid()) + " of "));
  EXPECT_EQ(Prefs({"--timeout", "0.3", "repair"}), 4);
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited.count(), 0.3);
  EXPECT_LT(waited.count(), 8);
  EXPECT_EQ(Prefs({"lock", "--force"}), 0) << error_;
  Prefs({"--json", "lock"});
  EXPECT_TRUE(Contains(out_, "\"free\""));
}

// A change that is held up shows its process to whoever waits, in every scope.
TEST_F(OrvikPrefsTest, NamesTheProcessThatHoldsTheKernelsLock) {
  for (const char* scope : {"shared", "user", "machine"}) {
    SCOPED_TRACE(scope);
    ASSERT_EQ(Prefs({"--scope", scope, "set", "K", "n", "v"}), 0) << error_;
    Prefs({"--scope", scope, "domains"});
    const fs::path file = out_.substr(out_.find('\t') + 1, out_.rfind('\t') - out_.find('\t') - 1);
    const int folder = open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int ready[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    OtherProcess holder([&] {
      struct stat attributes;
      fstat(folder, &attributes);
      static host::FolderLock lock;
      lock = host::FolderLock::Take(folder, attributes, 0);
      const char held = lock.held() ? '+' : '-';
      if (write(ready[1], &held, 1) != 1) abort();
    });
    char held = 0;
    ASSERT_EQ(read(ready[0], &held, 1), 1);
    ASSERT_EQ(held, '+');
    const std::string pid = std::to_string(holder.pid());
    EXPECT_EQ(Prefs({"--scope", scope, "--timeout", "0", "set", "K", "n", "w"}), 4);
    EXPECT_TRUE(Contains(error_, "process " + pid + " of "));
    EXPECT_TRUE(Contains(error_, ", since 20"));
    Prefs({"--scope", scope, "lock"});
    EXPECT_TRUE(Contains(out_, "held\t"));
    EXPECT_TRUE(Contains(out_, "\t" + pid + "\t20"));
    holder.End();
    EXPECT_EQ(Prefs({"--scope", scope, "--timeout", "0", "set", "K", "n", "w"}), 0) << error_;
    for (const int descriptor : {ready[0], ready[1], folder}) close(descriptor);
  }
}

// Runs "watch" in a folder that does not exist yet, and changes values once it is ready.
TEST_F(OrvikPrefsTest, WatchesAFolderThatDoesNotExistYet) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    const std::string program = (ProgramFolder() / "orvikprefs").string();
    execl(program.c_str(), program.c_str(), "--json", "watch", "A", "--ready", "--count", "2",
          nullptr);
    _exit(127);
  }
  close(ends[1]);
  const auto line = [&] {
    std::string text;
    for (char byte; read(ends[0], &byte, 1) == 1 && byte != '\n';) text += byte;
    return text;
  };
  EXPECT_EQ(line(), "{\"ready\":\"" + File().string() + "\"}");
  ASSERT_EQ(Prefs({"set", "A/B", "n", "1", "--int"}), 0) << error_;
  EXPECT_EQ(line(), R"({"change":"added","path":["A","B","n"],"after":1})");
  ASSERT_EQ(Prefs({"set", "A/B", "n", "2", "--int"}), 0) << error_;
  EXPECT_EQ(line(), R"({"change":"changed","path":["A","B","n"],"before":1,"after":2})");
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  close(ends[0]);
}

// A link is what the store's file is found by; the file itself lies elsewhere.
TEST_F(OrvikPrefsTest, WatchesAFileBehindALink) {
  const fs::path real = env_.folder() / "real.plist";
  fs::create_directories(File().parent_path());
  fs::create_symlink(real, File());
  const std::string program = (ProgramFolder() / "orvikprefs").string();
  static constexpr char kScript[] = R"(
import plistlib, subprocess, sys
program, real = sys.argv[1:]
watch = subprocess.Popen([program, '--json', 'watch', '--ready', '--count', '1'], stdout=subprocess.PIPE)
watch.stdout.readline()
plistlib.dump({'K': {'n': 1}}, open(real, 'wb'))
print(watch.stdout.readline().decode(), end='')
sys.exit(watch.wait())
)";
  const CommandResult run =
      RunCommand({"timeout", "60", "python3", "-c", kScript, program, real.string()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "{\"change\":\"added\",\"path\":[\"K\",\"n\"],\"after\":1}\n");
}

// A second of waiting for standard input stands for long work.
TEST_F(OrvikPrefsTest, LongWorkShowsItsTimeOnATerminalAlone) {
  static constexpr char kScript[] = R"(
import os, pty, subprocess, sys, time
program, options = sys.argv[1], sys.argv[2:]
for terminal in (True, False):
    master, slave = pty.openpty() if terminal else os.pipe()
    run = subprocess.Popen([program, 'import', '-'] + options, stdin=subprocess.PIPE, stderr=slave)
    time.sleep(1.5)
    run.communicate(b'{"K": {"n": 1}}')
    os.close(slave)
    seen = b''
    try:
        while part := os.read(master, 4096): seen += part
    except OSError: pass
    print(run.returncode, b'importing, 1 s' in seen, seen.endswith(b' \r') or not seen)
)";
  const std::string program = (ProgramFolder() / "orvikprefs").string();
  EXPECT_EQ(RunCommand({"python3", "-c", kScript, program}).out, "0 True True\n0 False True\n");
  EXPECT_EQ(RunCommand({"python3", "-c", kScript, program, "-q"}).out,
            "0 False True\n0 False True\n");
}

}  // namespace
}  // namespace orvik::test
