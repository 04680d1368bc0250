#include <chrono>
#include <regex>

#include "plist/file.h"
#include "tests/support/without_root_rights.h"
#include "tests/tools/prefs_tool_fixture.h"

namespace orvik::test {
namespace {

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
      {"get Software/Vendor/App/Path x", 2},
      {"get Software --show-scope --type", 1, "--type and --show-scope cannot be combined"},
      {"get " + std::string(120000, 'x') + " n", 2, "(120000 bytes): not found"},
      {"set Software/Vendor/App/Path x y --if-absent", 3,
       "leads through a value, not a key: \"Software/Vendor/App/Path\""},
      {"set K n 12x --int", 1},
      {"set K n 1 --int --bool", 1},
      {"set Software Vendor v", 6},
      {"--root " + (env_.system_root() / "mistyped").string() + " set K n x", 1},
      {"--root '/none\n' list", 1, "\\n"},
      {"--domain never.written check", 2},
      {"frobnicat\x1b[31m\u202e", 1, "\"frobnicat\\x1b[31m\\u202e\" is not a command"},
      {"delete Software/Vendor none", 2},
      {"delete-key Software/Vendor", 1},
      {"rename Software/Vendor Path Software/Other", 1},
      {"rename Software/None Software/Other", 2, "key \"Software/None\": not found"},
      {"copy Software/Vendor/App Software/Vendor/App/Path/x", 3,
       "key \"Software/Vendor/App/Path/x\": "},
      {"copy Software/Vendor/App Count Software/Vendor/App/Path/x y --replace", 3,
       "\"y\" in key \"Software/Vendor/App/Path/x\": "},
      {"rename Software/Vendor/App/Path x K n", 2, "\"x\" in key \"Software/Vendor/App/Path\": "},
      {"delete Software/Vendor/App/Path x", 2, "leads through a value"},
      {"rename Software Software/Vendor/x", 1, "key \"Software/Vendor/x\", below itself"},
      {"--json set K n 1", 1, "after \"set\" to give VALUE as JSON"},
      {"help exprot", 1, "\"exprot\" is not a command; did you mean \"export\"?"},
      {"set Software/Vendor/App Count 6 --keep-type", 6,
       "\"Count\" in key \"Software/Vendor/App\" is an integer, not a string"},
      {"copy Software/Vendor/App Path Software/Vendor/App Count", 6},
      {"find 'nothing like it'", 2},
      {"import " + given_, 5, "not JSON: line 2, column 8 (byte 9)"},
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
  // An unreadable file is not necessarily damaged.
  if (geteuid() == 0) return;
  fs::permissions(File(), fs::perms::none);
  fs::permissions(given_, fs::perms::none);
  for (const std::string line : {"check", "list", "import "}) {
    EXPECT_EQ(Prefs(line + (line == "import " ? given_ : "")), 7) << error_;
  }
}

// Conditions accept the text that get prints, for every type, and other spellings of it.
TEST_F(OrvikPrefsTest, SetsEveryTypeUnderConditions) {
  const std::tuple<std::string, std::string, std::string, std::string, std::string> kRows[] = {
      {"-q", "string", "-x", "-x", "x"},
      {"--int", "integer", "18446744073709551615", "18446744073709551615", "-1"},
      {"--real", "real", "2.50", "2.5", "2"},
      {"--bool", "boolean", "yes", "true", "false"},
      {"--date", "date", "2001-01-01T00:00:00.250000001Z", "2001-01-01T00:00:00.250000001Z",
       "2001-01-01T00:00:00.25Z"},
      {"--date", "date", "0xc3e0000000000000", "0xc3e0000000000000", "0x7ff8000000000000"},
      {"--data", "data", "AAEC", "AAEC", "AAED"},
      {"--json", "real", "1e3", "1000.0", "1000.5"},
  };
  for (const auto& [option, type, value, shown, other] : kRows) {
    SCOPED_TRACE(shown);
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
  Out("set A/Sub Count 5 --int");
  Out("set A name Count");
  Out("set B count 5");
  const std::pair<const char*, std::string> kRows[] = {
      {"get Software/Vendor/App none --default a\\b", "a\\b\n"},
      {"get Software/Vendor/App/Path none --default=", "\n"},
      {"get Software/Vendor/none --default a", "a\n"},
      {"get Software/Vendor/App", "{\n  \"Count\": 42,\n  \"Path\": \"/Apps/Größe\"\n}\n"},
      {"get Software/Vendor/App Path --format json", "\"/Apps/Größe\"\n"},
      {"list Software/Vendor", "App\nline\nbreak\n"},
      {"-z list Software/Vendor", std::string("App\0line\nbreak\0", 15)},
      {"find größe -i", "Software/Vendor/App/Path\tstring\t/Apps/Größe\n"},
      {"find break", "[\"Software\",\"Vendor\",\"line\\nbreak\"]\tstring\ta\\tb\n"},
      {"find Count A", "A/Sub/Count\tinteger\t5\nA/name\tstring\tCount\n"},
      {"find Count --names -i B", "B/count\tstring\t5\n"},
      {"find Count --values", "A/name\tstring\tCount\n"},
      {"find Count --names --values A", "A/Sub/Count\tinteger\t5\nA/name\tstring\tCount\n"},
      {"find 5 --type integer", "A/Sub/Count\tinteger\t5\n"},
      {"find '' --type dictionary A", "A/Sub\tdictionary\t\n"},
      {"find c?U* --pattern -i --names B", "B/count\tstring\t5\n"},
      {"find ? --pattern --names", "A\tdictionary\t\nB\tdictionary\t\n"},
  };
  for (const auto& [line, out] : kRows) EXPECT_EQ(Out(line), out) << line;
  for (const char* line : {"find oun --pattern", "find A/Sub --names B", "find *x*y* --pattern"}) {
    EXPECT_EQ(Prefs(line), 2) << line;
  }
  const ScopedVariable plain("NO_COLOR", "1");
  Prefs("tree Software", true);
  EXPECT_EQ(out_,
            "Vendor/\n"
            "  App/\n"
            "    Count  integer  42\n"
            "    Path   string  /Apps/Größe\n"
            "  line\\nbreak  string  a\\tb\n");
}

// Names may contain separators or control characters of terminals; the printed form can be given
// back.
TEST_F(OrvikPrefsTest, AcceptsThePathsThatItPrints) {
  Out(R"(set ["a/b","c\\d"] e/f v)");
  EXPECT_EQ(Out(R"(get '[ "a/b", "c\\d" ]' e/f)"), "v\n");
  Out("set [x] n v");
  Out("set 'line\nbreak' 't\tab\u202e' v");
  Out("set '[\"\"]' '' v");
  const std::string lone =
      "\uFDD0"
      "D800";
  Out("set " + lone + " " + lone + " " + lone);
  EXPECT_EQ(Out(R"(--json get ["\ufdd0D800"])"), "{\n  \"" + lone + "\": \"" + lone + "\"\n}\n");
  Out("rename " + lone + " " + lone + " " + lone + " n");
  Out("set " + lone + " n v");
  Out("set '' top v");
  Fails("get '[\"a/b\",\"none\"]'", 2, "key [\"a/b\",\"none\"]: not found");
  for (const std::string command : {"tree", "-z tree", "find v"}) {
    const std::string out = Out(command);
    const bool ends_with_nul = command[0] == '-';
    const std::string end(ends_with_nul ? "v\0" : "v\n", 2);
    std::size_t paths = 0;
    for (std::size_t at = 0; at < out.size(); ++paths) {
      const std::string path = out.substr(at, out.find(ends_with_nul ? '\0' : '\t', at) - at);
      EXPECT_EQ(Out("get '" + path + "'"), "v\n");
      at = out.find(end, at + path.size()) + 2;
    }
    EXPECT_EQ(paths, 6u) << out;
  }
  Out(R"(delete-key ["a/b","c\\d"] -r)");
  Out(R"(delete-key ["a/b"])");
}

TEST_F(OrvikPrefsTest, AlignsTheTreeByColumnsAndColoursOnlyWhereItCan) {
  Out("set K '\u6f22\u5b57' 1 --int");
  Out("set K 'e\u0301' 2 --int");
  Out("set K abcde 3 --int");
  const auto tree = [&](const char* term, const char* no_colour) {
    const ScopedVariable terminal("TERM", term), plain("NO_COLOR", no_colour);
    EXPECT_EQ(Prefs("tree K", true), 0);
    return out_;
  };
  const std::string plain =
      "abcde  integer  3\ne\u0301      integer  2\n\u6f22\u5b57   integer  1\n";
  EXPECT_EQ(tree("dumb", nullptr), plain);
  EXPECT_EQ(tree(nullptr, nullptr), plain);
  EXPECT_EQ(tree("xterm", "1"), plain);
  EXPECT_TRUE(Contains(tree("xterm", ""), "\x1b["));
}

TEST_F(OrvikPrefsTest, SaysThatATypeChanges) {
  for (const char* line : {"set K n 5 --int --keep-type", "set K n 6 --int --keep-type",
                           "-q set K n 2.5 --real", "-q set K n 7 --int"}) {
    Out(line);
    EXPECT_EQ(error_, "") << line;
  }
  Out("set K n 7");
  EXPECT_EQ(error_, "orvikprefs: \"n\" in key \"K\" was an integer and is a string now\n");
}

// A failure names its object: the key, the scope, the domain and the file, and tells what to do.
TEST_F(OrvikPrefsTest, MessagesNameTheStore) {
  const std::string where =
      " (shared scope, domain \"com.orviktech.Registry\", file \"" + File().string() + "\")\n";
  const std::string top = "orvikprefs: the domain's top level: not found; ";
  EXPECT_EQ(Prefs("list"), 2);
  EXPECT_EQ(error_, top + "the domain has no file yet" + where);
  Out("set K n v");
  EXPECT_EQ(Prefs("get K m"), 2);
  EXPECT_EQ(error_, "orvikprefs: \"m\" in key \"K\": not found" + where);
  for (const char* const line : {"list K/n", "tree K/n", "export K/n", "find v K/n", "edit K/n"}) {
    Fails(line, 2, "orvikprefs: \"K/n\" is a value, not a key; \"orvikprefs get\" prints it\n");
  }
  EXPECT_EQ(Prefs("--scope=5 --domain d set ../x n v"), 0);
  Fails("--scope=5 --domain d get x", 2,
        "(scope 5, domain \"d\", file \"" +
            (env_.system_root() / "Library/Preferences/.d.plist").string());
  WriteFile(given_, "set K m 1\n");
  WriteFile(File(), "<plist><dict>");
  for (const std::string& line : {std::string("set K n v"), "apply " + given_}) {
    Fails(line, 5, "; orvikprefs repair keeps a copy of it and saves what can be read" + where);
    EXPECT_EQ(error_.find("given"), std::string::npos);
  }
}

TEST_F(OrvikPrefsTest, ReachesElementsOfArrays) {
  Out("set K n[1] literal");
  Out("set K n --json '[1,[2,3],\"x\"]'");
  const std::tuple<const char*, int, const char*> kRows[] = {
      {"get K n[0]", 0, "1\n"},
      {"get K n[1]", 0, "literal\n"},  // a value of exactly this name
      {"get K n[-2][1]", 0, "3\n"},
      {"get K n[3] --default none", 0, "none\n"},
      {"set K n[-2][0] 4 --int", 0, "[1,[4,3],\"x\"]"},
      {"set K n[0] 0 --int --insert", 0, "[0,1,[4,3],\"x\"]"},
      {"set K n[4] z --insert", 0, "[0,1,[4,3],\"x\",\"z\"]"},
      {"set K n --append true --bool", 0, "[0,1,[4,3],\"x\",\"z\",true]"},
      {"set K n[2] --append {} --json", 0, "[0,1,[4,3,{}],\"x\",\"z\",true]"},
      {"delete K n[2][0]", 0, "[0,1,[3,{}],\"x\",\"z\",true]"},
      {"delete K n[6]", 2, nullptr},
      {"set K n[7] a --insert", 2, nullptr},
      {"set K n[1] --insert a", 1, nullptr},
      {"set K n[0] --append a", 6, nullptr},
      {"set K n --append --if-absent a", 1, nullptr},
      {"set K text[0] a", 0, ""},
  };
  for (const auto& [line, status, shown] : kRows) {
    SCOPED_TRACE(line);
    const std::string before = ReadFile(File());
    EXPECT_EQ(Prefs(line), status) << error_;
    if (shown == nullptr) {
      EXPECT_EQ(ReadFile(File()), before);
      EXPECT_NE(error_, "");
    } else if (shown[0] == '[') {
      EXPECT_EQ(Out("get K n"), std::string(shown) + "\n");
    } else {
      EXPECT_EQ(out_, shown);
    }
  }
}

TEST_F(OrvikPrefsTest, WorksAcrossStores) {
  Out("set K n 1 --int");
  Out("set K/L m v");
  Out("copy K Copy --to-scope user");
  Out("copy K n Copy o --to-domain other.domain");
  Fails("copy K Copy --to-scope user", 6, "key \"Copy\" already exists");
  Fails("copy K n K/n m --to-domain com.orviktech.Registry", 3, "leads through a value");
  Fails("copy K/n Copy --to-scope user --replace", 2, "leads through a value");
  Out("copy K/L Copy --to-scope user --replace");
  EXPECT_EQ(Out("--scope user tree"), "Copy/m\tstring\tv\n");
  EXPECT_EQ(Out("--domain other.domain tree"), "Copy/o\tinteger\t1\n");
  Out("--scope user set K n two");
  const std::string file = (env_.home() / "Library/Preferences" / File().filename()).string();
  const std::string user = "user\t" + file + "\tstring\ttwo\n";
  EXPECT_EQ(Out("get K n --show-scope"), "shared\t" + File().string() + "\tinteger\t1\n" + user);
  EXPECT_EQ(Out("--scope 3 get K n --show-scope").substr(0, 2), "3\t");
  EXPECT_EQ(Out("--scope user get K n --show-scope"), user);
  EXPECT_EQ(Prefs("get K none --show-scope"), 2);
  Out("export K --format json -o " + given_);
  WriteFile(File(), "damaged{");
  Fails("get K n --show-scope", 5, "\"n\" in key \"K\": the file is not a property list");
  EXPECT_EQ(out_, user);
  fs::remove(File());
  Out("import " + given_ + " K");
  Out("set K r --real -inf");
  Out("set K r -inf --real --keep-type");
  Out("export K --format binary -o " + given_);
  EXPECT_EQ(ReadFile(given_).substr(0, 8), "bplist00");
  Out("diff --exit-code " + given_ + " K");
  EXPECT_EQ(Prefs("export --format binary", true), 1);
}

TEST_F(OrvikPrefsTest, RenamesCopiesDeletesAndResets) {
  Fill();
  Out("rename Software/Vendor/App Path Other/Key Folder");
  Out("copy Software/Vendor Backup");
  Out("rename Software/Vendor/App Backup --replace");
  EXPECT_EQ(Out("tree"),
            "Backup/Count\tinteger\t42\nOther/Key/Folder\tstring\t/Apps/Größe\n"
            "[\"Software\",\"Vendor\",\"line\\nbreak\"]\tstring\ta\\tb\n");
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

TEST_F(OrvikPrefsTest, ExchangesATreeAndAPartOfIt) {
  WriteFile(given_, R"({"Other": {"$dictionary": {"$date": "a plain text"}}})");
  Fill();
  EXPECT_EQ(Out("import " + given_ + " --dry-run"), "+\tOther/$date\t\t\tstring\ta plain text\n");
  EXPECT_EQ(Out("list"), "Software\n");
  Out("import " + given_);
  EXPECT_EQ(Out("list"), "Other\nSoftware\n");
  const std::string xml = env_.folder() / "out.plist";
  Out("export -o " + xml);
  Out("diff " + xml + " --exit-code");
  Out("import " + given_ + " --replace");
  EXPECT_EQ(Prefs("diff " + xml + " --exit-code"), 6);
  Out("import " + xml);
  Out("export Software/Vendor/App --format=json -o " + given_);
  EXPECT_EQ(ReadFile(given_), "{\n  \"Count\": 42,\n  \"Path\": \"/Apps/Größe\"\n}\n");
  EXPECT_EQ(Prefs("diff " + given_ + " New/Key --exit-code"), 6);
  EXPECT_EQ(out_, "+\tNew/Key/Count\t\t\tinteger\t42\n+\tNew/Key/Path\t\t\tstring\t/Apps/Größe\n");
  Out("import " + given_ + " New/Key");
  Out("diff " + given_ + " New/Key --exit-code");

  // A real never equals an integer.
  WriteFile(given_, R"({"Count": 42.0, "Path": {"deep": 1}})");
  EXPECT_EQ(Out("diff " + given_ + " New/Key"),
            "~\tNew/Key/Count\tinteger\t42\treal\t42.0\n"
            "~\tNew/Key/Path\tstring\t/Apps/Größe\tdictionary\t{\"deep\":1}\n");
  Out("export New --format json -o /dev/stdout");  // standard output under another name
}

TEST_F(OrvikPrefsTest, RefusesWhatIsNoPropertyList) {
  const std::pair<const char*, const char*> kRows[] = {
      {"[1]", "its root is not a dictionary"},
      {"{\"a\": 1e400}", "not JSON: line 1, column 7"},
      {R"({"n": {"$data": "AAA A"}})", "from character 4 on"},
      {"<plist>", "neither a property list nor JSON"},
  };
  for (const auto& [content, message] : kRows) {
    WriteFile(given_, content);
    Fails("import " + given_, 5, message);
    EXPECT_FALSE(fs::exists(File()));
  }
  fs::resize_file(given_, std::uintmax_t{1} << 40);
  for (const std::string command : {"import", "diff", "apply"}) {
    Fails(command + " " + given_, 5, "File too large");
  }
  Fails("import /dev/zero", 5, "File too large");
}

TEST_F(OrvikPrefsTest, NeverOverwritesADamagedFileUnasked) {
  Fill();
  std::string broken = ReadFile(File());
  broken.resize(broken.rfind("</dict>"));
  WriteFile(File(), broken);
  Fails("check", 5, ", column ");
  Fails("set A b c", 5, "repair");
  Fails("repair --dry-run", 0, "the list breaks off");
  EXPECT_EQ(ReadFile(File()), broken);
  EXPECT_TRUE(Contains(Out("--json repair"), "kept_copy"));
  EXPECT_EQ(Out("get Software/Vendor/App Count"), "42\n");
  // A file without anything to save is left alone, too, unless the user asks otherwise.
  WriteFile(File(), "<plist><dict>");
  Fails("repair", 9, "repair --replace");
  Out("repair -n --replace");
  Fails("check", 5, "");
  EXPECT_TRUE(Contains(Out("repair --replace --backup"), "repaired\t0\t"));
  Out("check");
}

// Control characters of the store are shown on a terminal but have no effect.
TEST_F(OrvikPrefsTest, EscapesWhatWouldActOnATerminal) {
  const std::string acting = "\x1b]0;x\a\x7f\u0085\u202e\u2066\u200f", key = acting + "k";
  Out("set " + key + " " + acting + " " + acting);
  EXPECT_EQ(Out("get " + key + " " + acting), acting + "\n");
  WriteFile(given_, "{ \"" + key + "\" = 5; }");
  for (const std::string& command : std::vector<std::string>{
           "import " + given_, "tree", "list", "get KEY NAME", "get KEY", "find x", "export",
           "--json tree", "-z list", "export --format=json", "delete A NAME", "set KEY/NAME n v",
           "delete-key KEY"}) {
    const std::string line = std::regex_replace(std::regex_replace(command, std::regex("KEY"), key),
                                                std::regex("NAME"), acting);
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
  Out(root + "--home " + fs::relative(home).string() + " --scope=user set K n v");
  EXPECT_TRUE(fs::exists(home / file));
  const std::string gone = "cd " + home.string() + "; mkdir g; cd g; rmdir ../g; exec " + program_;
  EXPECT_EQ(RunCommand({"sh", "-c", gone + " --root . list"}).status, 1);
}

TEST_F(OrvikPrefsTest, SaysWhereTheFilesAre) {
  Fill();
  EXPECT_TRUE(Out("where").starts_with("shared\t" + File().string() + "\tsound\twritable\n"));
  EXPECT_TRUE(Contains(out_, "\tabsent\twritable\n"));
  Out("--domain a.b set K n v");
  Out("--scope 2 --domain hidden set K n v");
  const std::string folder = File().parent_path();
  EXPECT_TRUE(Out("domains").starts_with("a.b\t" + folder + "/a.b.plist\t"));
  EXPECT_EQ(std::count(out_.begin(), out_.end(), '\n'), 2);
  WriteFile(folder + "/.plist", "{}");  // of no domain
  EXPECT_TRUE(Contains(Out("domains --scope 2 --json"), "\"domain\": \"hidden\""));
  EXPECT_EQ(out_.find("\"plist\""), std::string::npos) << out_;
  WriteFile(folder + "/not a\\domain.plist", "");
  fs::create_directory(folder + "/closed");
  fs::permissions(folder + "/closed", fs::perms::none);
  fs::permissions(env_.folder(), fs::perms(0755));
  {
    const WithoutRootRights user(env_.folder());
    Fails("domains", 7, "/closed\" cannot be read: ");
  }
  EXPECT_EQ(std::count(out_.begin(), out_.end(), '\n'), 2);
  fs::permissions(folder + "/closed", fs::perms::owner_all);
  fs::remove(File());
  fs::create_symlink(File(), File());  // a loop
  EXPECT_TRUE(Contains(Out("where"), "\tunreadable\t"));
  Fails("domains", 5, "Registry.plist\" cannot be read: ");
  EXPECT_TRUE(out_.starts_with("a.b\t")) << "the others are listed";
  const std::string root = env_.folder() / "\xff";
  fs::create_directory(root);
  EXPECT_TRUE(Contains(Out("--json where --root " + root),
                       "/\uFDD0"
                       "DCFF/Users/"));
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
  Out("--scope user lock --release");  // this scope has no record
  Out("--scope machine lock --force");
  const auto begin = std::chrono::steady_clock::now();
  for (const char* const line : {"lock --release", "--timeout 0.3 set K n w"}) {
    Fails(line, 4, ", process " + pid + " of ");
  }
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
  EXPECT_TRUE(waited.count() >= 0.3 && waited.count() < 8) << waited.count();
  Out("lock --force");
  EXPECT_TRUE(Contains(Out("--json lock"), "\"free\""));

  // A record of an untrusted user is named and stays.
  const fs::path file = env_.home() / "Library/Preferences/com.orviktech.Registry.lock.plist";
  Out("set K n v");
  fs::remove(file);
  fs::create_symlink("elsewhere", file);
  const std::string refused = ": the lock's file is not a regular lock file of a trusted user: \"" +
                              file.string() + "\"; move it away";
  Fails("lock", 5, refused);
  for (const char* const line : {"lock --force", "set K n v", "delete K n", "reset K",
                                 "delete-key K -r", "rename K n K m", "copy K L"}) {
    Fails(line, 3, refused);
  }
  EXPECT_TRUE(fs::is_symlink(file));
}

// A change that must wait reports the process that holds the lock.
TEST_F(OrvikPrefsTest, NamesTheProcessThatHoldsTheKernelsLock) {
  Out("set K n v");
  const std::string lock = File().parent_path() / ".orvik.lock";
  plist::File file(File());
  OtherProcess holder([&] { EXPECT_EQ(file.Lock(plist::File::Folder::kFind), 0); });
  const std::string process = "process " + std::to_string(holder.pid()) + " of ";
  Fails("--timeout 0 set K n w", 4, process);
  EXPECT_TRUE(Contains(error_, ", since 20"));
  EXPECT_TRUE(Contains(Out("lock"), "held\t"));
  EXPECT_TRUE(Contains(out_, "\t" + std::to_string(holder.pid()) + "\t20"));
  Fails("lock --force", 4, "the record is free, but a process holds the kernel's lock");
  EXPECT_TRUE(Contains(error_, process) && Contains(error_, lock));
  holder.End();
  Out("--timeout 0 set K n w");

  chmod(lock.c_str(), 0);
  fs::permissions(env_.folder(), fs::perms(0755));
  const WithoutRootRights user(env_.folder());
  Fails("lock", 7, "lock: not known: no permission to read \"" + lock + "\"");
  EXPECT_EQ(out_, "not known\n");
}

// The main thread of a process may have as little stack as other threads.
TEST_F(OrvikPrefsTest, TheDeepestTreesNeedLittleStack) {
  const auto nested = [](int depth, const char* open, const std::string& inner, const char* close) {
    return Repeated(open, depth) + inner + Repeated(close, depth);
  };
  const std::string tree = R"({"a":)", wrapper = R"({"$dictionary":{"$date":)";
  const std::string other = env_.folder() / "other", script = env_.folder() / "script";
  WriteFile(given_, nested(508, tree.c_str(), "1", "}"));
  WriteFile(other, nested(500, wrapper.c_str(), R"({"x":1})", "}}"));
  WriteFile(script, "replace \"\" " + nested(508, tree.c_str(), "2", "}") + "\n");
  const auto run = [&](const std::string& line) {
    const CommandResult result =
        RunCommand({"sh", "-c", "ulimit -s 256; exec timeout 60 " + program_ + " " + line});
    EXPECT_EQ(result.status, 0) << line << result.err;
    return result.out;
  };
  run("import " + given_);
  for (const char* const line : {"get ''", "tree", "find a", "--json tree"}) {
    EXPECT_NE(run(line), "") << line;
  }
  EXPECT_EQ(run("diff " + given_), "");
  EXPECT_NE(run("apply " + script), "");
  EXPECT_NE(run("diff " + given_), "");
  run("import --replace " + other);
  EXPECT_EQ(run("--json export -o " + given_), "");
  EXPECT_EQ(run("diff " + given_), "");
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
  const std::string unread = "exec timeout 60 " + program_ + " watch --ready > /dev/full";
  EXPECT_EQ(RunCommand({"sh", "-c", unread}).status, 3);
}

// A second of waiting for standard input stands for long work.
TEST_F(OrvikPrefsTest, LongWorkShowsItsTimeOnATerminalAlone) {
  static constexpr char kScript[] = R"(
import os, pty, subprocess, sys, time
for is_terminal, options in ((True, []), (False, []), (True, ['-q'])):
    master, slave = pty.openpty() if is_terminal else os.pipe()
    run = subprocess.Popen([sys.argv[1], 'import', '-', *options], stdin=subprocess.PIPE, stderr=slave)
    seen = b''
    if is_terminal and not options:
        while b'importing, 1 s' not in seen: seen += os.read(master, 4096)
    else: time.sleep(1.5)
    run.communicate(b'{"K": {"n": 1}}')
    os.write(slave, b'end')
    while not seen.endswith(b'end'): seen += os.read(master, 4096)
    print(run.returncode, b'importing, 1 s' in seen, seen[-5:])
)";
  EXPECT_EQ(RunCommand({"timeout", "60", "python3", "-c", kScript, program_}).out,
            "0 True b' \\rend'\n0 False b'end'\n0 False b'end'\n");
}

}  // namespace
}  // namespace orvik::test
