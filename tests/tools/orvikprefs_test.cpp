#include "tools/orvikprefs/program.h"

#include <fcntl.h>
#include <sys/stat.h>
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

// The words of a line, parted by blanks; 'quotes' keep what they hold together.
std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  bool is_quoted = false, is_word = false;
  for (const char byte : line) {
    if (byte == '\'') {
      is_quoted = !is_quoted;
    } else if (byte == ' ' && !is_quoted) {
      is_word = false;
      continue;
    }
    if (!is_word) words.emplace_back();
    is_word = true;
    if (byte != '\'') words.back() += byte;
  }
  return words;
}

class OrvikPrefsTest : public EnvironmentTest {
 protected:
  // The exit status of the program with the words of the line.
  int Prefs(const std::string& line, bool terminal = false) {
    const std::vector<std::string> words = Words("orvikprefs " + line);
    std::vector<const char*> argv;
    for (const std::string& word : words) argv.push_back(word.c_str());
    std::ostringstream out, error;
    const int status =
        prefstool::Run(static_cast<int>(argv.size()), argv.data(), terminal, out, error);
    out_ = out.str();
    error_ = error.str();
    return status;
  }
  // What a run prints that succeeds.
  std::string Out(const std::string& line) {
    EXPECT_EQ(Prefs(line), 0) << line << ": " << error_;
    return out_;
  }
  void Fails(const std::string& line, int status, const std::string& message) {
    EXPECT_EQ(Prefs(line), status) << line << ": " << error_;
    EXPECT_TRUE(Contains(error_, message));
  }

  fs::path File() const { return env_.system_root() / kFile; }

  void Fill() {
    Out("set Software/Vendor/App Path /Apps/Größe");
    Out("set Software/Vendor/App Count 42 --int");
    Out("set Software/Vendor line\nbreak a\tb");
  }

  std::string out_, error_;
  const std::string given_ = env_.folder() / "given";  // a file for import, diff and apply
  const std::string program_ = ProgramFolder() / "orvikprefs";
};

TEST_F(OrvikPrefsTest, GetsWhatWasSetInEveryScope) {
  for (const std::string scope : {"shared", "user", "machine", "2", "5"}) {
    SCOPED_TRACE(scope);
    EXPECT_EQ(Out("--scope " + scope + " set A/B text " + scope), "");
    EXPECT_EQ(Out("--scope " + scope + " set A\\B number -7 --int"), "");
    EXPECT_EQ(Out("get A/B text --scope " + scope), scope + "\n");
    EXPECT_EQ(Out("--scope " + scope + " get /A/B/ number --type"), "integer\n");
    EXPECT_EQ(Out("--scope " + scope + " --json get A B"),
              "{\n  \"number\": -7,\n  \"text\": \"" + scope + "\"\n}\n");
  }
  EXPECT_TRUE(fs::exists(env_.home() / "Library/Preferences/com.orviktech.Registry.plist"));
  EXPECT_TRUE(fs::exists(env_.system_root() / "Library/Preferences/.com.orviktech.Registry.plist"));
  Out("set '' Top ''");
  EXPECT_EQ(Out("get '' Top"), "\n");
  EXPECT_EQ(Out("list"), "A\nTop\n");
}

TEST_F(OrvikPrefsTest, TellsFailuresApart) {
  Fill();
  WriteFile(given_, "{\n  \"a\": tru\n}\n");
  const struct {
    std::string line;
    int status;
    const char* message = "";
  } kRows[] = {
      {"get Software/Vendor none", 2},
      {"get Software/Vendor/App/Path x", 2},
      {"get " + std::string(120000, 'x') + " n", 2, "(120000 bytes): not found"},
      {"set Software/Vendor/App/Path x y", 3},
      {"set K n 12x --int", 1},
      {"set K n 18446744073709551616 --int", 1},
      {"set K n maybe --bool", 1},
      {"set K n soon --date", 1},
      {"set K n [1,] --json", 1},
      {"set K n 1 --int --bool", 1},
      {"set K n v --if-absent --if-equals v", 1},
      {"set K n v --frob\x1b", 1, "\"--frob\\x1b\" is no option of set"},
      {"set Software Vendor v", 6},
      {"--root " + (env_.system_root() / "mistyped").string() + " set K n x", 1},
      {"--root /none\n list", 1, "\\n"},
      {"--domain ../x set K n v", 1},
      {"--domain never.written check", 2},
      {"frobnicat\x1b[31m\u202e", 1, "\"frobnicat\\x1b[31m\\u202e\" is no command"},
      {"delete Software/Vendor none", 2},
      {"delete Software Vendor", 6},
      {"delete-kye A", 1, "did you mean \"delete-key\"?"},
      {"delete-key Software/Vendor", 1},
      {"delete-key '' -r", 1},
      {"delete-key Software/Vendor/App/Path -r", 2},
      {"rename Software/None Software/Other", 2},
      {"rename Software/Vendor Path Software/Other", 1},
      {"copy Software/Vendor Software/Vendor/App", 6},
      {"copy Software/Vendor/App Path Software/Vendor/App Count", 6},
      {"watch --count 0", 1},
      {"help frobnicate", 1},
      {"find 'nothing like it'", 2},
      {"import " + given_, 5, "no JSON: line 2, column 8 (byte 9)"},
      {"import /nonexistent", 2, "\"/nonexistent\" cannot be read: No such file"},
      {"import " + env_.folder().string(), 5, "Is a directory"},
      {"export -o /none/file", 3, "\"/none/file\" cannot be written: No such"},
      {"--help", 0},
  };
  const std::string before = ReadFile(File());
  for (const auto& [line, status, message] : kRows) {
    SCOPED_TRACE(line.substr(0, 80));
    Fails(line, status, message);
    EXPECT_EQ(error_.empty(), status == 0 || line.starts_with("find"));
    EXPECT_LT(error_.size(), 700u);
    EXPECT_EQ(error_.find('\x1b'), std::string::npos);
  }
  EXPECT_EQ(ReadFile(File()), before);
  // What may not be read is not damaged.
  if (geteuid() == 0) return;
  fs::permissions(File(), fs::perms::none);
  fs::permissions(given_, fs::perms::none);
  for (const std::string line : {"check", "list", "import "}) {
    EXPECT_EQ(Prefs(line + (line == "import " ? given_ : "")), 7) << error_;
  }
}

// Conditions hold for the text that get prints, in every type, and for other spellings of it.
TEST_F(OrvikPrefsTest, SetsEveryTypeUnderConditions) {
  const std::tuple<const char*, std::string, std::string, std::string, std::string> kRows[] = {
      {"-q", "string", "-x", "-x", "x"},
      {"--int", "integer", "-9223372036854775808", "-9223372036854775808", "0"},
      {"--int", "integer", "18446744073709551615", "18446744073709551615", "-1"},
      {"--real", "real", "2.50", "2.5", "2"},
      {"--real", "real", "-inf", "-inf", "inf"},
      {"--bool", "boolean", "yes", "true", "false"},
      {"--bool", "boolean", "OFF", "false", "On"},
      {"--date", "date", "2024-05-06T07:08:09Z", "2024-05-06T07:08:09Z", "2024-05-06T07:08:10Z"},
      {"--data", "data", "AAEC", "AAEC", "AAED"},
      {"--json", "array", "'[ 1, {\"a\": [ ] } ]'", "[1,{\"a\":[]}]", "[1]"},
      {"--json", "real", "1e3", "1000.0", "1000.5"},
  };
  for (const auto& [name, type, value, shown, other] : kRows) {
    SCOPED_TRACE(shown);
    const std::string option = name;
    Out("set " + option + " K n " + value);
    EXPECT_EQ(Out("get K n"), shown + "\n");
    EXPECT_EQ(Out("get K n --type"), type + "\n");
    Fails("set K n new --if-equals=" + other, 6, "is not \"" + other);
    Fails("set K n new --if-absent", 6, "there is a value already");
    Out("set K n new --if-equals " + shown);
    Out("set " + option + " K n --if-equals new -- " + value);
    Out("set K n '' --if-equals=" + value);
    Out("set K n x --if-equals=");
  }
  Out("set Fresh/Key n v --if-absent");
  Fails("set Fresh/Key m v --if-equals w", 6, "there is no value");
  Out("set K n ++");
  EXPECT_EQ(Out("get K n"), "++\n");
}

TEST_F(OrvikPrefsTest, GetsListsAndFinds) {
  Fill();
  const std::pair<const char*, std::string> kRows[] = {
      {"get Software/Vendor/App none --default a\\b", "a\\b\n"},
      {"get Software/Vendor/App/Path none --default=", "\n"},
      {"get Software/Vendor/App", "{\n  \"Count\": 42,\n  \"Path\": \"/Apps/Größe\"\n}\n"},
      {"get Software/Vendor/App Path --format json", "\"/Apps/Größe\"\n"},
      {"list Software/Vendor", "App\nline\nbreak\n"},
      {"-z list Software/Vendor", std::string("App\0line\nbreak\0", 15)},
      {"find größe -i", "Software/Vendor/App/Path\tstring\t/Apps/Größe\n"},
      {"find break", "Software/Vendor/line\\nbreak\tstring\ta\\tb\n"},
  };
  for (const auto& [line, out] : kRows) EXPECT_EQ(Out(line), out);
  EXPECT_TRUE(Contains(Out("get Software/Vendor/App --format xml"),
                       "<dict>\n\t<key>Count</key>\n\t<integer>42</integer>"));
  const ScopedVariable plain("NO_COLOR", "1");
  Prefs("tree", true);
  EXPECT_EQ(out_,
            "Software/\n"
            "  Vendor/\n"
            "    App/\n"
            "      Count  integer  42\n"
            "      Path   string  /Apps/Größe\n"
            "    line\\nbreak  string  a\\tb\n");
}

// A name may hold what separates names; what is printed can be given back.
TEST_F(OrvikPrefsTest, ReachesNamesWithSeparators) {
  Out(R"(set ["a/b","c\\d"] e/f v)");
  EXPECT_EQ(Out(R"(get '[ "a/b", "c\\d" ]' e/f)"), "v\n");
  EXPECT_EQ(Out("-z tree"),
            std::string(R"(["a/b","c\\d","e/f"])") + '\0' + "string" + '\0' + "v" + '\0');
  Out("set [x] n w");
  EXPECT_EQ(Out("tree [x]"), "[\"[x]\",\"n\"]\tstring\tw\n");
  Out(R"(delete-key ["a/b","c\\d"] -r)");
  Out(R"(delete-key ["a/b"])");
}

TEST_F(OrvikPrefsTest, RenamesCopiesDeletesAndResets) {
  Fill();
  Out("rename Software/Vendor/App Path Other/Key Folder");
  Out("copy Software/Vendor Backup");
  Out("rename Software/Vendor/App Backup --replace");
  EXPECT_EQ(Out("tree"),
            "Backup/Count\tinteger\t42\n"
            "Other/Key/Folder\tstring\t/Apps/Größe\n"
            "Software/Vendor/line\\nbreak\tstring\ta\\tb\n");
  Out("reset Software");
  Out("reset None/Such");
  Out("delete Other Key --recursive");
  Out("set '' Other 'now a value' --replace-key");
  EXPECT_EQ(Out("--json tree"),
            "{\n  \"Backup\": {\n    \"Count\": 42\n  },\n  \"Other\": \"now a value\",\n"
            "  \"Software\": {}\n}\n");
  Out("delete Backup Count");
  Out("delete-key Backup");
  EXPECT_EQ(Out("list"), "Other\nSoftware\n");
  Out("reset ''");
  EXPECT_EQ(Out("--json list"), "[]\n");
}

TEST_F(OrvikPrefsTest, ExportsAndImportsEveryKindOfValue) {
  const std::string content =
      R"({"Other":{"big":18446744073709551615,"data":{"$data":"AAEC"},)"
      R"("date":{"$date":"2024-05-06T07:08:09Z"},"list":[true,-1,2.5,"x"],)"
      R"("odd":{"$dictionary":{"$date":"a plain text"}},"real":{"$real":"nan"}}})";
  WriteFile(given_, content);
  Fill();
  EXPECT_TRUE(Contains(Out("import " + given_ + " --dry-run"), "+\tOther/data\t\t\tdata\tAAEC\n"));
  EXPECT_EQ(Out("list"), "Software\n");
  Out("import " + given_);
  EXPECT_EQ(Out("list"), "Other\nSoftware\n");
  const std::string xml = env_.folder() / "out.plist";
  Out("export -o " + xml);
  Out("diff " + xml + " --exit-code");
  Out("import " + given_ + " --replace");
  EXPECT_EQ(Prefs("diff " + xml + " --exit-code"), 6);
  Out("export --format json");
  out_.erase(std::remove_if(out_.begin(), out_.end(), isspace), out_.end());
  EXPECT_EQ(std::regex_replace(out_, std::regex("aplaintext"), "a plain text"), content);
}

TEST_F(OrvikPrefsTest, ExchangesAPartOfATree) {
  Fill();
  Out("export Software/Vendor/App --format=json -o " + given_);
  EXPECT_EQ(ReadFile(given_), "{\n  \"Count\": 42,\n  \"Path\": \"/Apps/Größe\"\n}\n");
  Out("diff " + given_ + " Software/Vendor/App --exit-code");
  EXPECT_EQ(Prefs("diff " + given_ + " New/Key --exit-code"), 6);
  EXPECT_EQ(out_, "+\tNew/Key/Count\t\t\tinteger\t42\n+\tNew/Key/Path\t\t\tstring\t/Apps/Größe\n");
  Out("import " + given_ + " New/Key");
  Out("diff " + given_ + " New/Key --exit-code");

  // A real is not the integer that equals it, and a value takes no key's place unasked.
  WriteFile(given_, R"({"Count": 42.0, "Path": {"deep": 1}})");
  EXPECT_EQ(Out("diff " + given_ + " New/Key"),
            "~\tNew/Key/Count\tinteger\t42\treal\t42.0\n"
            "~\tNew/Key/Path\tstring\t/Apps/Größe\tdictionary\t{\"deep\":1}\n");
  Out("import " + given_ + " New/Key --replace");
  WriteFile(given_, R"({"Path": 1})");
  Fails("import " + given_ + " New/Key", 6, "--replace-key");
  EXPECT_EQ(Out("import " + given_ + " New/Key --replace-key -n"),
            "~\tNew/Key/Path\tdictionary\t{\"deep\":1}\tinteger\t1\n");
  Out("export New --format json -o /dev/stdout");  // standard output under another name
}

TEST_F(OrvikPrefsTest, RefusesWhatIsNoPropertyList) {
  for (const char* content : {"{\"a\": null}", "{\"a\": 1e400}", "[1]",
                              "{\"a\": {\"$date\": \"soon\"}}", "<plist>", ""}) {
    WriteFile(given_, content);
    EXPECT_EQ(Prefs("import " + given_), 5) << content;
    EXPECT_NE(error_, "");
    EXPECT_FALSE(fs::exists(File()));
  }
}

TEST_F(OrvikPrefsTest, NeverOverwritesADamagedFileUnasked) {
  Fill();
  std::string broken = ReadFile(File());
  broken.resize(broken.rfind("</dict>"));
  WriteFile(File(), broken);
  Fails("check", 5, ", column ");
  Fails("set A b c", 5, "repair");
  Fails("list", 5, "");
  Fails("repair --dry-run", 0, "the list breaks off");
  EXPECT_EQ(ReadFile(File()), broken);
  EXPECT_TRUE(Contains(Out("--json repair"), "kept_copy"));
  EXPECT_EQ(ReadFile(File().string() + ".damaged"), broken);
  EXPECT_EQ(Out("get Software/Vendor/App Count"), "42\n");
  Out("check");
}

// Whatever a store holds, a terminal shows it and does not obey it.
TEST_F(OrvikPrefsTest, EscapesWhatWouldActOnATerminal) {
  const std::string acting = "\x1b]0;x\a\x7f\u0085\u202e\u2066\u200f", key = acting + "k";
  Out("set " + key + " " + acting + " " + acting);
  EXPECT_EQ(Out("get " + key + " " + acting), acting + "\n");
  for (const std::string& line :
       {std::string("tree"), std::string("list"), "get " + key + " " + acting, "get " + key,
        std::string("find x"), std::string("export"), std::string("--json tree"),
        std::string("-z list"), std::string("export --format=json"), "delete A " + acting,
        "set " + key + "/" + acting + " n v", "delete-key " + key}) {
    Prefs(line, true);
    for (const char* part : {"\x1b]", "\a", "\x7f", "\u0085", "\u202e", "\u2066", "\u200f"}) {
      EXPECT_EQ((out_ + error_).find(part), std::string::npos) << line << part;
    }
    EXPECT_GT((out_ + error_).size(), 10u) << line;
  }
}

TEST_F(OrvikPrefsTest, NothingOfTheCallersHomeCountsInAnotherRoot) {
  const fs::path image = env_.folder() / "image", home = image / "home";
  const char* const file = "Library/Preferences/com.orviktech.Registry.plist";
  fs::create_directories(home);
  const std::string root = "--root " + image.string() + " ";
  Out(root + "set K n v");
  Out(root + "--scope=user set K n v");
  EXPECT_FALSE(fs::exists(env_.home() / "Library"));
  EXPECT_TRUE(fs::exists(image / "root" / file));
  Out(root + "--home " + home.string() + " --scope=user set K n v");
  EXPECT_TRUE(fs::exists(home / file));
}

TEST_F(OrvikPrefsTest, SaysWhereTheFilesAre) {
  Fill();
  Out("where");
  EXPECT_EQ(out_.substr(0, out_.find('\n')), "shared\t" + File().string() + "\tsound\twritable");
  EXPECT_TRUE(Contains(out_, "\tabsent\twritable\n"));
  Out("--domain a.b set K n v");
  Out("--scope 2 --domain hidden set K n v");
  EXPECT_TRUE(
      Contains(Out("domains"), "a.b\t" + (File().parent_path() / "a.b.plist").string() + "\t"));
  EXPECT_EQ(std::count(out_.begin(), out_.end(), '\n'), 2);
  EXPECT_TRUE(Contains(Out("domains --scope 2 --json"), "\"domain\": \"hidden\""));
}

TEST_F(OrvikPrefsTest, AppliesScripts) {
  Fill();
  WriteFile(given_,
            "# wanted state\n\n"
            "require-key Software/Vendor/App\n"
            "set Software/Vendor/App Count 43\r\n"
            "set \"Software/Vendor\" \"Two words\" {\"$data\": \"AAEC\"}\n"
            "delete Software/Vendor/App Path\n"
            "delete-key Software/Old\n"
            "make-key Software/Empty\n"
            "merge [\"a/b\"] {\"x\": [1, 2.5]}\n"
            "require-absent Software/Vendor/App Path\n");
  EXPECT_EQ(Prefs("apply " + given_ + " --check"), 8) << error_;
  const std::string checked = out_;
  EXPECT_TRUE(Contains(checked,
                       "~\tSoftware/Vendor/App/Count\tinteger\t42\tinteger\t43\n"
                       "-\tSoftware/Vendor/App/Path\tstring\t/Apps/Größe\t\t\n"));
  EXPECT_TRUE(Contains(checked, "+\tSoftware/Empty\t\t\tdictionary\t{}\n"));
  EXPECT_TRUE(Contains(checked, "+\t[\"a/b\",\"x\"]\t\t\tarray\t[1,2.5]\n"));
  EXPECT_EQ(Out("get Software/Vendor/App Count"), "42\n");
  EXPECT_EQ(Out("apply " + given_), checked);
  // The second time everything is as wanted.
  const auto written = fs::last_write_time(File());
  Out("apply " + given_ + " --check");
  EXPECT_EQ(Out("--json apply " + given_), "[]\n");
  EXPECT_EQ(fs::last_write_time(File()), written);

  const std::string before = ReadFile(File());
  const std::tuple<const char*, int, const char*> kRows[] = {
      {"set K n 1\nrequire K n 2\n", 6, "line 2 (\"require K n 2\"): the condition does not hold"},
      {"require K n 1.0\nset K n 1\n", 6, "line 1"},
      {"require-key None\n", 6, "there is no such key"},
      {"require-empty-key Software\n", 6, "the key is not empty"},
      {"require-no-key Software\n", 6, "line 1"},
      {"set \"\" Software 1\n", 6, "a key has this name"},
      {"delete Software Vendor\n", 6, "a key has this name"},
      {"delete-key Software/Vendor/App/Count\n", 6, "line 1"},
      {"merge \"\" {\"Software\": 1}\n", 6, "a key has this name"},
      {"replace Software/Vendor/App/Count {}\n", 3,
       "the key path leads through a value that is no key"},
      {"set Software/Vendor/App/Count n 1\n", 3,
       "the key path leads through a value that is no key"},
      {"set K n\n", 1, "line 1, column 8 (byte 7): a value is expected"},
      {"\nset K n tru\n", 1, "line 2, column 9 (byte 9): this is no JSON value"},
      {"set K n {\"a\": [1, null]}\n", 1, "null is no property-list value: \"a/1\""},
      {"set K n {\"a\": {\"$date\": \"?\"}}\n", 1, "\"$date\" is malformed: \"a\""},
      {"set K n 1 2\n", 1, "line 1, column 11 (byte 10): one word too many"},
      {"set K \"n\n\" 1\n", 1, "the text ends in a string"},
      {"set K n'm 1\n", 1, "needs double quotes"},
      {"merge K [1]\n", 1, "needs an object"},
      {"delete-key \"\"\n", 1, "needs a key below the domain"},
      {"frob K\n", 1, "line 1, column 1 (byte 0): \"frob\" begins no line"},
      {"set \xff n 1\n", 1, "KEY is not UTF-8"},
  };
  for (const auto& [script, status, message] : kRows) {
    SCOPED_TRACE(script);
    WriteFile(given_, script);
    Fails("apply " + given_ + " --check", status, message);
    Fails("apply " + given_ + " -q", status, message);
    EXPECT_EQ(ReadFile(File()), before);
  }
  WriteFile(given_, "replace \"\" {\"K\": {\"n\": 1}}\nrequire K n 1\n");
  EXPECT_EQ(Out("apply " + given_ + " -q"), "");
  EXPECT_EQ(Out("tree"), "K/n\tinteger\t1\n");
}

// The editor is a shell command in place of the person.
TEST_F(OrvikPrefsTest, EditsATreeAsJson) {
  const auto edit = [&](const std::string& editor, const std::string& key) {
    const ScopedVariable visual("VISUAL", nullptr), variable("EDITOR", editor);
    return Prefs("edit " + key);
  };
  Out("set K n 1 --int");
  Out("set K d AAEC --data");
  EXPECT_EQ(edit("sed -i 's/: 1/: 2/'", "K"), 0) << error_;
  EXPECT_EQ(Out("get K"), "{\n  \"d\": {\n    \"$data\": \"AAEC\"\n  },\n  \"n\": 2\n}\n");
  EXPECT_EQ(edit("printf '{\"new\": {\"deep\": [true]}}' >", "''"), 0) << error_;
  EXPECT_EQ(Out("tree"), "new/deep\tarray\t[true]\n");
  EXPECT_EQ(edit("printf '{\"x\": 1}' >", "Fresh/Key"), 0) << error_;
  EXPECT_EQ(Out("get Fresh/Key x"), "1\n");

  const std::string before = ReadFile(File());
  EXPECT_EQ(edit("true", "new"), 0);
  EXPECT_EQ(edit("false", "new"), 3);
  EXPECT_EQ(edit("sed -i 's/true/maybe/'", "new"), 1);
  for (const char* part : {"line 3, column 5", "\n      maybe\n", "the text is kept in"}) {
    EXPECT_TRUE(Contains(error_, part));
  }
  EXPECT_EQ(ReadFile(File()), before);
  EXPECT_EQ(edit("printf '{}' >\"$1\"; " + program_ + " set new n 5;:", "new"), 6);
  EXPECT_TRUE(Contains(error_, "has changed meanwhile"));
  EXPECT_EQ(Out("get new n"), "5\n");
}

TEST_F(OrvikPrefsTest, ShowsAndFreesTheLock) {
  EXPECT_EQ(Out("lock"), "free\n");
  const std::string pid = std::to_string(getpid());
  const auto record = [&](const std::string& process) {
    const std::string set = "--scope user --domain com.orviktech.Registry.lock set '' ";
    Out(set + "lock 1 --int");
    Out(set + "process '" + process + "'");
    Out(set + "pid " + pid + " --int");
  };
  record("a program that is not running");
  EXPECT_TRUE(Out("lock").starts_with("stale\ta program that is not running\t"));
  Out("lock --release");
  EXPECT_EQ(Out("lock"), "free\n");

  record(fs::read_symlink("/proc/self/exe").filename().string());
  Fails("lock --release", 4, ", process " + pid + " of ");
  const auto begin = std::chrono::steady_clock::now();
  Fails("--timeout 0 set K n v", 4, ", process " + pid + " of ");
  Fails("--timeout 0.3 repair", 4, "");
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited.count(), 0.3);
  EXPECT_LT(waited.count(), 8);
  Out("lock --force");
  EXPECT_TRUE(Contains(Out("--json lock"), "\"free\""));
}

// A change that is held up shows its process to whoever waits, in every scope.
TEST_F(OrvikPrefsTest, NamesTheProcessThatHoldsTheKernelsLock) {
  for (const char* name : {"shared", "user", "machine"}) {
    SCOPED_TRACE(name);
    const std::string scope = std::string("--scope ") + name + " ";
    Out(scope + "set K n v");
    Out(scope + "domains");
    const fs::path file = out_.substr(out_.find('\t') + 1, out_.rfind('\t') - out_.find('\t') - 1);
    const int folder = open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    OtherProcess holder([&] {
      struct stat attributes;
      fstat(folder, &attributes);
      static host::FolderLock lock;
      lock = host::FolderLock::Take(folder, attributes, 0);
      if (!lock.held()) abort();
    });
    const std::string pid = std::to_string(holder.pid());
    Fails(scope + "--timeout 0 set K n w", 4, "process " + pid + " of ");
    EXPECT_TRUE(Contains(error_, ", since 20"));
    EXPECT_TRUE(Contains(Out(scope + "lock"), "held\t"));
    EXPECT_TRUE(Contains(out_, "\t" + pid + "\t20"));
    holder.End();
    Out(scope + "--timeout 0 set K n w");
    close(folder);
  }
}

// Runs "watch" in a folder that does not exist yet, and changes values once it is ready.
TEST_F(OrvikPrefsTest, WatchesAFolderThatDoesNotExistYet) {
  static constexpr char kScript[] = R"(
import subprocess, sys
program = sys.argv[1]
watch = subprocess.Popen([program, '--json', 'watch', 'A', '--ready', '--count', '2'],
                         stdout=subprocess.PIPE, text=True)
print(watch.stdout.readline(), end='')
for value in ('1', '2'):
    subprocess.run([program, 'set', 'A/B', 'n', value, '--int'], check=True)
    print(watch.stdout.readline(), end='')
sys.exit(watch.wait())
)";
  const CommandResult run = RunCommand({"timeout", "60", "python3", "-c", kScript, program_});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "{\"ready\":\"" + File().string() + "\"}\n" +
                         R"({"change":"added","path":["A","B","n"],"after":1})" + "\n" +
                         R"({"change":"changed","path":["A","B","n"],"before":1,"after":2})"
                         "\n");
}

// A second of waiting for standard input replaces long work.
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
  EXPECT_EQ(RunCommand({"python3", "-c", kScript, program_}).out, "0 True True\n0 False True\n");
  EXPECT_EQ(RunCommand({"python3", "-c", kScript, program_, "-q"}).out,
            "0 False True\n0 False True\n");
}

}  // namespace
}  // namespace orvik::test
