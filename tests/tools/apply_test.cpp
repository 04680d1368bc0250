// Scripts, imported files and edited texts: their changes, and that a second run changes nothing.

#include <regex>

#include "tests/tools/prefs_tool_fixture.h"

namespace orvik::test {
namespace {

using ApplyTest = OrvikPrefsTest;

TEST_F(ApplyTest, AppliesScripts) {
  Fill();
  WriteFile(given_,
            "\xEF\xBB\xBF# wanted state, after a byte order mark\n\n"
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
  // The second time nothing is left to change.
  const auto written = fs::last_write_time(File());
  Out("apply " + given_ + " --check");
  EXPECT_EQ(Out("--json apply " + given_), "[]\n");
  EXPECT_EQ(fs::last_write_time(File()), written);

  const std::string before = ReadFile(File());
  const std::tuple<const char*, int, const char*> kRows[] = {
      {"set K n 1\nrequire K n 2\n", 6, "line 2 (\"require K n 2\"): the condition is not met"},
      {"require K n 1.0\nset K n 1\n", 6, "line 1"},
      {"require-key None\n", 6, "there is no such key"},
      {"require-key Software/Vendor/App/Count\n", 6,
       "a value, not a key: \"Software/Vendor/App/Count\""},
      {"require-empty-key Software/Vendor/App/Count/x\n", 6, "a value, not a key"},
      {"set \"\" Software 1\n", 6, "a key has this name: \"Software\"; --replace-key"},
      {"delete-key Software/Vendor/App/Count\n", 6, "line 1"},
      {"merge \"\" {\"Software\": 1}\n", 6,
       "a key has this name: \"Software\"; --replace-key before the KEY replaces it"},
      {"replace Software/Vendor/App/Count {}\n", 6, "a value has this name: \"Software/"},
      {"replace --replace-key Software/Vendor/App/Count/x {}\n", 3,
       "the key path leads through a value, not a key"},
      {"set K n\n", 1, "line 1, column 8 (byte 7): a value is expected"},
      {"\nset K n tru\n", 1, "line 2, column 9 (byte 9): this is not a JSON value"},
      {"set K n {\"a\": [1, null]}\n", 1, "a property list cannot hold null: \"a/1\""},
      {"set K n {\"$dictionary\": {\"$dictionary\": {\"$date\": \"?\"}}}\n", 1,
       "\"$date\" is malformed"},
      {"set K n {\"$dictionary\": [1]}\n", 1, "\"$dictionary\" must hold an object"},
      {"set K n {\"a\": 1, \"b\": {\"c\": 1, \"c\": 2}}\n", 1,
       "line 1, column 32 (byte 31): duplicate name \"c\": \"b\""},
      {"set --keep-type Software/Vendor/App Count \"43\"\n", 6,
       "line 1 (\"set --keep-type Software/Vendor/App Count \"43\"\"): the value has another type"},
      {"add-element Software/Vendor/App Count 1\n", 6, "the value is not an array"},
      {"set K n 1 2\n", 1, "line 1, column 11 (byte 10): unexpected text after the last word"},
      {"set K n'm 1\n", 1, "needs double quotes"},
      {"set [\"K\", 5] n 1\n", 1, "a KEY in brackets must contain only names"},
      {"merge K [1]\n", 1, "needs an object"},
      {"delete-key \"\"\n", 1, "needs a key below the domain"},
      {"frob K\n", 1, "line 1, column 1 (byte 0): \"frob\" is not a command of scripts"},
      {"requre K n 1\n", 1, "is not a command of scripts; did you mean \"require\"?"},
      {"set --keep-typ K n 1\n", 1, "; did you mean \"--keep-type\"?"},
      {"require --replace-key K n 1\n", 1, "is not an option of require"},
      {"delete --keep-type n\n", 1, "is not an option of delete; a KEY that begins with \"--\""},
  };
  for (const auto& [script, status, message] : kRows) {
    SCOPED_TRACE(script);
    WriteFile(given_, script);
    for (const char* option : {" --check", " -q"})
      Fails("apply " + given_ + option, status, message);
    EXPECT_EQ(ReadFile(File()), before);
  }
  WriteFile(given_,
            "\xEF\xBB\xBFreplace \"\" {\"K\": {\"\\ufdd0D800\": 1}}\n"
            "require K \"\\ufdd0D800\" 1\ndelete \"K\" \"\\ufdd0D800\"\nset K n 1\n");
  EXPECT_EQ(Out("apply " + given_ + " -q"), "");
  EXPECT_EQ(Out("tree"), "K/n\tinteger\t1\n");
}

// A shell command replaces the editor and its user.
class EditTest : public ApplyTest {
 protected:
  int Edit(const std::string& editor, const std::string& key) {
    const ScopedVariable visual("VISUAL", nullptr), variable("EDITOR", editor);
    return Prefs("edit " + key);
  }
};

TEST_F(EditTest, EditsATreeAsJson) {
  Out("set K n 1 --int");
  Out("set K d AAEC --data");
  EXPECT_EQ(Edit("sed -i 's/: 1/: 2/'", "K"), 0) << error_;
  EXPECT_EQ(Out("get K"), "{\n  \"d\": {\n    \"$data\": \"AAEC\"\n  },\n  \"n\": 2\n}\n");
  EXPECT_EQ(Edit("printf '{\"new\": {\"deep\": [true]}}' >", "''"), 0) << error_;
  EXPECT_EQ(Edit("printf '{\"x\": 1}' >", "Fresh/Key"), 0) << error_;
  EXPECT_EQ(Out("tree"), "Fresh/Key/x\tinteger\t1\nnew/deep\tarray\t[true]\n");

  const std::string before = ReadFile(File());
  EXPECT_EQ(Edit("true", "new"), 0);
  EXPECT_EQ(Edit("false", "new"), 3);
  EXPECT_TRUE(Contains(error_, "failed; nothing changed\n"));
  // A text that was changed before the editor failed is kept.
  EXPECT_EQ(Edit("echo written >\"$1\"; false", "new"), 3);
  const std::size_t kept = error_.find("the text is kept in \"");
  ASSERT_NE(kept, error_.npos) << error_;
  const std::string rest = error_.substr(kept + 21);
  EXPECT_EQ(ReadFile(rest.substr(0, rest.find('"'))), "written\n");
  EXPECT_EQ(Edit("sed -i 's/true/maybe/'", "new"), 1);
  for (const char* part : {"line 3, column 5", "\n      maybe\n", "the text is kept in"}) {
    EXPECT_TRUE(Contains(error_, part));
  }
  EXPECT_EQ(ReadFile(File()), before);
  EXPECT_EQ(Edit("printf '{}' >\"$1\"; " + program_ + " set new n 5;:", "new"), 6);
  EXPECT_TRUE(Contains(error_, "has changed meanwhile"));
  EXPECT_EQ(Out("get new n"), "5\n");
}

// The text is read from the folder that the command made, even if the path leads elsewhere by then.
TEST_F(EditTest, ReadsNoFileOfOthers) {
  const fs::path temporary = env_.folder() / "temporary", other = env_.folder() / "other.json";
  fs::create_directory(temporary);
  WriteFile(other, "{\"evil\": 1}");
  Out("set K n 1 --int");
  const ScopedVariable folder("TMPDIR", temporary.string());
  EXPECT_EQ(Edit("ln -sf " + other.string(), "K"), 7);
  EXPECT_TRUE(Contains(error_, "the text is kept in \"" + temporary.string()));
  const std::string swap =
      "d=${1%/*}; mv $d $d.mine; mkdir $d; cp " + other.string() + " \"$1\"; true";
  EXPECT_EQ(Edit(swap, "K"), 0);
  EXPECT_EQ(Out("get K"), "{\n  \"n\": 1\n}\n");
  fs::remove_all(temporary);
  fs::create_directory(temporary);
  // An editor that saves under another name, renames that file, and leaves a copy of the old text.
  const char* const renaming = "cp \"$1\" \"$1~\"; printf '{\"n\": 2}' >\"$1.new\"; mv \"$1.new\"";
  EXPECT_EQ(Edit(renaming, "K"), 0) << error_;
  EXPECT_EQ(Out("get K n"), "2\n");
  EXPECT_TRUE(fs::is_empty(temporary));
  fs::remove(temporary);
  Fails("edit K", 3, temporary.string() + "\" cannot be written: No such file");
}

// The fuzz target change_script shows this for every line of a script; this test for the other
// commands.
TEST_F(ApplyTest, TheSecondTimeChangesNothing) {
  const std::string value = R"({"n":["a \"quote\", a \\ and a break\n",18446744073709551615],)"
                            R"("r":{"$real":"nan"},"d":{"$dictionary":{"$date":"a plain text"}}})";
  WriteFile(given_, "{\"K\":" + value + "}");
  const auto changes_once = [&](const std::string& command, const std::string& again) {
    SCOPED_TRACE(command);
    Out(command);
    const std::string bytes = ReadFile(File());
    const auto written = fs::last_write_time(File());
    EXPECT_EQ(Out(again), "");
    Out(command);
    EXPECT_EQ(ReadFile(File()), bytes);
    EXPECT_EQ(fs::last_write_time(File()), written);
  };
  changes_once("import " + given_, "import --dry-run " + given_);
  changes_once("import --replace " + given_, "import --replace --dry-run " + given_);
  fs::remove(File());
  const ScopedVariable visual("VISUAL", "cp " + given_);
  changes_once("edit", "diff " + given_);
  const std::string set = "set --json L n '" + value + "'";
  changes_once(set + " --replace-key", set);
}

// A key is replaced by a value, or a value by a key, only on request.
TEST_F(ApplyTest, KeysAndValuesGiveWayOnlyWhenAsked) {
  const std::string trees[] = {"K/n\tinteger\t5\n", "K/n/in\tinteger\t1\n"};
  const std::string values[] = {"5", R"({"in":1})"};
  for (const int wanted : {0, 1}) {
    const std::string value = values[wanted];
    const std::string begin_anew = "set --replace-key --json K n " + values[1 - wanted];
    const auto gives_way = [&](const std::string& file, const char* command, const char* option) {
      SCOPED_TRACE(file);
      Out(begin_anew);
      WriteFile(given_, std::regex_replace(file, std::regex("OPTION "), ""));
      Fails(command + given_, 6, "has this name: \"K/n\"; --replace-key");
      WriteFile(given_, std::regex_replace(file, std::regex("OPTION"), "--replace-key"));
      Out(command + given_ + option);
      EXPECT_EQ(Out("tree"), trees[wanted]);
    };
    gives_way("set OPTION K n " + value, "apply ", "");
    gives_way("merge OPTION \"\" {\"K\":{\"n\":" + value + "}}", "apply ", "");
    gives_way("{\"K\":{\"n\":" + value + "}}", "import ", " --replace-key");
    Out(begin_anew);
    Fails("set --json K n " + value, 6, wanted == 0 ? "is a key" : "is a value");
    Out("set --json --replace-key K n " + value);
  }
  // A dictionary replaces another one: always in a script, by "set" only on request.
  Fails(R"(set --json K n {"b":1})", 6, "is a key");
  WriteFile(given_, R"(set K n {"b":1})");
  Out("apply " + given_);
  EXPECT_EQ(Out("tree"), "K/n/b\tinteger\t1\n");
  WriteFile(given_, "{\"d\": 3}");
  for (const std::string option : {" --replace", ""}) {
    Fails("import " + given_ + " K/n/b" + option, 6, "\"K/n/b\"; --replace-key replaces it");
  }
  Out("import --replace --replace-key " + given_ + " K/n/b");
  EXPECT_EQ(Out("tree"), "K/n/b/d\tinteger\t3\n");
  Fails("import --replace --replace-key " + given_ + " K/n/b/d/e", 3, "leads through a value");
}

// Only a file that is changed gets a copy; the copy can be restored.
TEST_F(ApplyTest, KeepsACopyOfWhatIsChanged) {
  const auto copies = [&] {
    std::vector<std::string> names = NamesIn(File().parent_path());
    std::erase_if(names,
                  [](const std::string& name) { return name.find(".backup-20") == name.npos; });
    return names;
  };
  const auto apply = [&](const std::string& script, const char* options = "") {
    WriteFile(given_, script);
    Prefs("--json apply --backup " + given_ + options);
    return out_.find("\"backup\": \"") != std::string::npos;
  };
  EXPECT_FALSE(apply("set K n 1\n"));
  const std::string first = ReadFile(File());
  fs::permissions(File(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_FALSE(apply("set K n 1\n"));
  EXPECT_FALSE(apply("set K n 1\nrequire K n 2\n"));
  EXPECT_FALSE(apply("set K n 2\n", " --check"));
  EXPECT_EQ(copies().size(), 0u);
  EXPECT_TRUE(apply("set K n 2\n"));
  ASSERT_EQ(copies().size(), 1u);
  const fs::path copy = File().parent_path() / copies()[0];
  EXPECT_EQ(ReadFile(copy), first);
  EXPECT_EQ(fs::status(copy).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  WriteFile(given_, "{\"K\": {\"n\": 3}}");
  Out("import --backup " + given_);
  Out("import --backup " + given_);
  const ScopedVariable visual("VISUAL", "sed -i s/3/4/");
  Out("edit --backup");
  EXPECT_EQ(copies().size(), 3u);
  Out("import --replace " + copy.string());
  EXPECT_EQ(Out("tree"), "K/n\tinteger\t1\n");
  // For a link, its target is copied and changed. The copy has the owner of the file.
  fs::rename(File(), File().parent_path() / "real");
  fs::create_symlink("real", File());
  const bool is_root = geteuid() == 0;
  EXPECT_TRUE(!is_root || chown(File().c_str(), 30002, 30002) == 0);
  Out("import --backup " + given_);
  ASSERT_EQ(copies().size(), 4u);
  struct stat kept = {};
  ASSERT_EQ(lstat((File().parent_path() / copies().back()).c_str(), &kept), 0);
  EXPECT_TRUE(S_ISREG(kept.st_mode) && kept.st_uid == (is_root ? 30002 : geteuid()));
  EXPECT_TRUE(Contains(ReadFile(File().parent_path() / copies().back()), "<integer>1<"));
}

// No part of a value is shown, whatever the exit status.
TEST_F(ApplyTest, PrintsNoSecrets) {
  Out("set K n old-hush");
  const std::string secret = R"("hush\"q \\b ü\nhush")";
  const std::tuple<std::string, int, std::string> kScripts[] = {
      {"delete K n\nset K m " + secret, 0, ""},
      {"set K/m x " + secret, 3, "line 1: the key path leads through a value"},
      {"set K m " + secret + "\nrequire K m 1", 6, "line 2: the condition is not met"},
      {"set K n " + secret + " hush", 1, "line 1, column 31 (byte 31): the line cannot be read"},
      {"set K n {\"a\": {\"$date\": " + secret + "}}", 1, "line 1"},
  };
  for (const auto& [script, status, message] : kScripts) {
    SCOPED_TRACE(script);
    WriteFile(given_, script + "\n");
    for (const char* options : {"apply --check --secret ", "--json apply --secret "}) {
      const bool would_change = status == 0 && options[0] == 'a';
      Fails(options + given_, would_change ? 8 : status, message);
      EXPECT_EQ((out_ + error_).find("hush"), std::string::npos) << out_ << error_;
      EXPECT_EQ(out_.find('m') != std::string::npos, status == 0) << out_;
    }
  }
  WriteFile(File(), "<plist><dict>");
  WriteFile(given_, "set K n " + secret + "\n");
  EXPECT_EQ(Prefs("apply --secret " + given_), 5);
  EXPECT_EQ((out_ + error_).find("hush"), std::string::npos) << error_;
}

}  // namespace
}  // namespace orvik::test
