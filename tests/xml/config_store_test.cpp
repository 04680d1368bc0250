#include "xml/config_store.h"

#include <sys/stat.h>

#include <climits>

#include <tinyxml.h>

#include "prefs/preferences.h"
#include "tests/files/support.h"
#include "tests/support/without_root_rights.h"
#include "xml/document_check.h"

namespace orvik::test {
namespace {

std::string User(const std::string& content) {
  return "<key name='orvik technologies' scope='USER'>" + content + "</key>";
}

class ConfigStoreTest : public EnvironmentTest {
 protected:
  ConfigStoreTest() {
    Forget();
    fs::create_directories(file_.parent_path());
  }
  ~ConfigStoreTest() override { Forget(); }

  // Makes the state that of a new process.
  static void Forget() {
    for (COrvikFilePath** path : {&g_pathGlobalXMLConfig, &g_pathLocalXMLConfig}) {
      delete *path;
      *path = nullptr;
    }
    EXPECT_TRUE(g_pathTempGlobalXMLConfig == nullptr && g_pathTempLocalXMLConfig == nullptr);
    g_pGlobalXMLConfigDoc.reset();
    g_pLocalXMLConfigDoc.reset();
    g_pGlobalXMLConfigRootElement = g_pLocalXMLConfigRootElement = nullptr;
    g_bGlobalXMLConfigFileLoaded = g_bLocalXMLConfigFileLoaded = false;
  }

  // Starts again with the file.
  void Use(const fs::path& file) {
    Forget();
    EXPECT_TRUE(SetXMLConfig(1, File(file)));
  }
  void UseContent(const std::string& content) {
    WriteFile(file_, content);
    Use(file_);
  }
  static void Put(int value, const CAtlString& name = u"v", const CAtlString& key = u"") {
    EXPECT_TRUE(WriteXMLConfigInt(1, key, name, value));
  }
  static void Save() { EXPECT_TRUE(SaveXMLConfigFile(1)); }
  static int V() { return Int(u"", u"v"); }
  void ExpectThatXmllintTakesIt() const {
    const CommandResult lint = RunCommand({"xmllint", "--noout", file_});
    EXPECT_EQ(lint.status, 0) << lint.err;
  }
  static int Int(const CAtlString& key, const CAtlString& name, int scope = 1) {
    int value = -1;
    return GetXMLConfigInt(scope, key, name, value) ? value : -1;
  }
  static std::u16string String(const CAtlString& key, const CAtlString& name, int scope = 1) {
    CAtlString value(u"old");
    const bool found = GetXMLConfigString(scope, key, name, value);
    return (found ? u"" : u"-") + value.ToStdString();
  }
  // Each name ends in a comma; "-" stands for a missing key.
  static std::u16string Listed(decltype(ListValuesXMLConfig)* list, const CAtlString& key) {
    CAtlArray<CAtlString> names{u"old"};
    std::u16string result;
    if (!list(1, key, names)) result = u"-";
    for (const CAtlString& name : names) result += name.ToStdString() + u",";
    return result;
  }
  static std::u16string Keys(const CAtlString& key) {
    return Listed(ListPreferencesXMLConfig, key);
  }

  const fs::path file_ = env_.folder() / "config" / u"caf\u00E9.xml";
};

TEST_F(ConfigStoreTest, NothingHappensWithoutAFileOrInAnotherScope) {
  for (int scope : {0, 1, 2, -1}) {
    CAtlArray<CAtlString> names;
    const bool has_scope = scope == 0 || scope == 1;
    EXPECT_FALSE(!has_scope &&
                 (SetXMLConfig(scope, File(file_)) || CreateConfigFile(File(file_), scope)));
    EXPECT_FALSE(IsXMLConfigSet(scope) || FindXMLRootElement(scope) != nullptr ||
                 GetXMLConfigRootElement(scope) != nullptr ||
                 LoadXMLRootFromFile(scope, true) != nullptr);
    EXPECT_FALSE(WriteXMLConfigInt(scope, u"A", u"v", 1) ||
                 WriteXMLConfigString(scope, u"A", u"v", u"x") || SaveXMLConfigFile(scope));
    EXPECT_EQ(Int(u"A", u"v", scope), -1);
    EXPECT_EQ(String(u"A", u"v", scope), u"-old");
    EXPECT_FALSE(ListPreferencesXMLConfig(scope, u"", names) ||
                 DeleteXMLConfigValueElement(scope, u"A", u"v") ||
                 DeleteXMLSubKeyElement(scope, u"A"));
  }
  // A call before SetXMLConfig does not count as an attempt to load the file.
  WriteFile(file_, User("<value name='v' data='4'/>"));
  EXPECT_TRUE(SetXMLConfig(1, File(file_)) && IsXMLConfigSet(1));
  EXPECT_EQ(V(), 4);
}

TEST_F(ConfigStoreTest, AFirstWriteMakesTheKeysAndASaveTheFile) {
  Use(file_);
  EXPECT_EQ(Int(u"A/B", u"v"), -1);
  EXPECT_FALSE(SaveXMLConfigFile(1));
  Put(5, u"v", u"A/B");
  EXPECT_TRUE(fs::is_empty(file_.parent_path()));
  Save();
  EXPECT_EQ(ReadFile(file_),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
            "<key name=\"ORVIK Technologies\" scope=\"User\">\n"
            "    <key name=\"A\">\n        <key name=\"B\">\n"
            "            <value name=\"v\" data=\"5\" />\n"
            "        </key>\n    </key>\n</key>\n");
  EXPECT_TRUE(fs::is_empty(env_.temp()));
  EXPECT_EQ(NamesIn(file_.parent_path()).size(), 1u);
  Use(file_);
  EXPECT_EQ(Int(u"/a\\b/", u"V"), 5);
  Put(INT_MIN, u"v", u"A\\b");
  EXPECT_EQ(Int(u"A/B", u"v"), INT_MIN);
  EXPECT_EQ(Int(u"B", u"v"), -1);
}

TEST_F(ConfigStoreTest, NewFilesHaveTheExactText) {
  for (const char* scope : {"Global", "User"}) {
    EXPECT_TRUE(CreateConfigFile(File(At("new.xml")), *scope == 'U' ? 1 : 0));
    EXPECT_EQ(ReadFile(At("new.xml")),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>"
              "<key name=\"ORVIK Technologies\" scope=\"" +
                  std::string(scope) + "\"/>");
  }
  // A file that can only be written in place.
  fs::create_hard_link(At("new.xml"), At("second"));
  WriteFile(At("second"), "old");
  EXPECT_TRUE(CreateConfigFile(File(At("new.xml")), 1));
  EXPECT_EQ(ReadFile(At("second")).find("<?xml"), 0u);
  EXPECT_FALSE(CreateConfigFile(File(At("no/file")), 1));
}

TEST_F(ConfigStoreTest, TextOfEveryKindComesBackOrIsRefused) {
  const std::u16string large(100'000, u'x'),
      texts[] = {u"\u65E5\u672C\u8A9E \U0001F600", u"<&'\">]]>", u" \t\n\r x ",
                 u"&#x\" data=\"evil\"/>",         u"&#xZZ",     u"&#x26;#x41;",
                 u"\t\r\n\u007F\uFFFD\U0001FFFF",  large};
  UseContent(User("<value name='v' data='1'/>"));
  for (const char16_t* text : {u"\u0001", u"a\u001F", u"\uFFFE", u"a\uFFFFb", u"\u000B"}) {
    EXPECT_FALSE(WriteXMLConfigString(1, u"", u"v", text) ||
                 WriteXMLConfigString(1, u"", text, u"x") || WriteXMLConfigInt(1, text, u"v", 2));
  }
  EXPECT_EQ(String(u"", u"v"), u"1");
  for (const std::u16string& text : texts) {
    EXPECT_TRUE(WriteXMLConfigString(1, u"texts", text.substr(0, 40), text));
  }
  EXPECT_TRUE(WriteXMLConfigString(1, u"texts", u"empty", u""));
  Save();
  for (int round = 0; round < 2; ++round) {
    for (const std::u16string& text : texts) {
      EXPECT_TRUE(String(u"texts", text.substr(0, 40)) == text) << CAtlString(text.substr(0, 40));
    }
    EXPECT_EQ(String(u"texts", u"empty"), u"-old");
    EXPECT_EQ(GetXMLConfigValueState(1, u"texts", u"empty"), XMLConfigValueState::kEmpty);
    EXPECT_EQ(GetXMLConfigValueState(1, u"texts", u"none"), XMLConfigValueState::kMissing);
    EXPECT_EQ(GetXMLConfigValueState(1, u"texts/none", u"empty"), XMLConfigValueState::kMissing);
    Use(file_);
  }
  ExpectThatXmllintTakesIt();
}

TEST_F(ConfigStoreTest, ElementsAreMatchedWithoutCaseAndTheFirstWins) {
  UseContent(
      User("<KEY Name='x' name='A'><other name='v' data='1'/><Value name='V' data='2x'/>"
           "<value name='v' data='3'/></KEY><key name='a'><value name='w' data='9'/></key>"
           "<value name='Straße' data='7'/><value name='big' data='99999999999'/>"));
  EXPECT_EQ(
      (std::vector{Int(u"a", u"v"), Int(u"a", u"w"), Int(u"", u"STRA\u00DFE"), Int(u"", u"big")}),
      (std::vector{2, -1, 7, INT_MAX}));
  EXPECT_TRUE(WriteXMLConfigString(1, u"A", u"v", u"t"));
  EXPECT_EQ(String(u"a", u"V"), u"t");
  TiXmlElement* const root = FindXMLRootElement(1);
  EXPECT_TRUE(IsXMLElementAType(root, "KEY") && XMLElementHasAttr(root, "scope", "user"));
  EXPECT_FALSE(IsXMLElementAType(nullptr, "key") || XMLElementHasAttr(root, "Scope", "user") ||
               IsValidXMLConfigRoot(0, root) || IsValidXMLConfigRoot(1, root->FirstChildElement()));
  EXPECT_EQ(FindXMLConfigValueElement(nullptr, u"", u"v"), nullptr);
  EXPECT_EQ(GetXMLConfigValueElement(nullptr, u"", u"v"), nullptr);
}

TEST_F(ConfigStoreTest, ListsKeysOrValuesAndDeletesButNeverTheRoot) {
  UseContent(
      User("<key name='a'><key name='x'/><value name='v' data='1'/></key><value name='b'/>"
           "<KEY name='Grüße'/><key/><other name='c'/>"));
  EXPECT_EQ((std::vector{Keys(u""), Keys(u"A"), Keys(u"a/x"), Keys(u"none")}),
            (std::vector<std::u16string>{u"a,Gr\u00FC\u00DFe,", u"x,", u"", u"-"}));
  EXPECT_EQ(Listed(ListValuesXMLConfig, u"") + Listed(ListValuesXMLConfig, u"a"), u"b,v,");
  EXPECT_EQ(Listed(ListValuesXMLConfig, u"none"), u"-");
  for (const auto& [key, value] : {std::pair(u"a", u"none"), {u"none", u"v"}, {u"A", u"V"}}) {
    EXPECT_TRUE(DeleteXMLConfigValueElement(1, key, value));
  }
  EXPECT_EQ(Int(u"a", u"v"), -1);
  for (const char16_t* root : {u"", u"\\/"}) EXPECT_FALSE(DeleteXMLSubKeyElement(1, root));
  for (const char16_t* key : {u"a/none", u"a"}) EXPECT_TRUE(DeleteXMLSubKeyElement(1, key));
  EXPECT_EQ(Keys(u""), u"Gr\u00FC\u00DFe,");
}

TEST_F(ConfigStoreTest, ScopesStandSideBySide) {
  const fs::path global = env_.folder() / "global.xml";
  EXPECT_TRUE(SetXMLConfig(0, File(global)) && SetXMLConfig(1, File(file_)));
  for (const int scope : {0, 1}) {
    EXPECT_TRUE(WriteXMLConfigInt(scope, u"k", u"v", 10 + scope) && SaveXMLConfigFile(scope));
  }
  for (const int scope : {0, 1}) EXPECT_EQ(Int(u"k", u"v", scope), 10 + scope);
  Use(global);  // no file of the other scope
  EXPECT_EQ(Int(u"k", u"v"), -1);
}

TEST_F(ConfigStoreTest, WhatIsDiscardedIsKeptBesideBySavingOnly) {
  const fs::path kept = file_.string() + ".discarded";
  const std::string damaged = "<key name='orvik technologies' scope='USER'><oops";
  UseContent(damaged);
  fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(V(), -1);
  EXPECT_FALSE(SaveXMLConfigFile(1)) << "there is no document yet";
  Put(1);
  EXPECT_EQ(ReadFile(file_), damaged);
  {
    const FileSizeLimit limit(10);
    EXPECT_FALSE(SaveXMLConfigFile(1));
  }
  EXPECT_FALSE(fs::exists(kept)) << "what was not replaced is not kept";
  for (int round = 0; round < 2; ++round) Save();  // the second replaces the saved file
  EXPECT_EQ(ReadFile(kept), damaged);
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  Use(file_);
  EXPECT_EQ(V(), 1);
  // An empty file is replaced without a copy. A folder or a pipe is never moved.
  UseContent("");
  Put(1);
  Save();
  EXPECT_EQ(NamesIn(file_.parent_path()).size(), 2u);
  for (const mode_t other : {S_IFDIR, S_IFIFO}) {
    fs::remove(file_);
    ASSERT_EQ(other == S_IFDIR ? mkdir(file_.c_str(), 0700) : mkfifo(file_.c_str(), 0600), 0);
    Use(file_);
    EXPECT_FALSE(WriteXMLConfigInt(1, u"a", u"v", 1)) << other;
    EXPECT_EQ(GetXMLConfigWriteStatus(1), XMLConfigWriteStatus::kNoRoot);
    EXPECT_FALSE(fs::is_regular_file(file_));
  }
}

TEST_F(ConfigStoreTest, AnUnreadableFileIsKeptAndAFolderThatTakesNoFileRefusesTheWrite) {
  using fs::perms;
  UseContent(User("<value name='v' data='1'/>"));
  fs::permissions(file_, perms::none);
  const WithoutRootRights rights(env_.folder());
  EXPECT_EQ(GetXMLConfigFileInfo(1).state, XMLConfigFileState::kUnreadable);
  Put(2);
  Save();
  EXPECT_EQ(fs::status(file_.string() + ".discarded").permissions(), perms::none);
  Use(file_);
  EXPECT_EQ(V(), 2);
  // A kept read-only file does not prevent keeping the next one.
  UseContent("y");
  Put(3);
  Save();
  EXPECT_EQ(ReadFile(file_.string() + ".discarded-2"), "y");
  UseContent("x");
  fs::permissions(file_.parent_path(), perms::owner_read | perms::owner_exec);
  EXPECT_FALSE(WriteXMLConfigInt(1, u"", u"v", 3));
  fs::permissions(file_.parent_path(), perms::all);
}

TEST_F(ConfigStoreTest, SaysWhyThereIsNoRoot) {
  using enum XMLConfigFileState;
  const auto state = [](int scope = 1) { return GetXMLConfigFileInfo(scope).state; };
  for (const int scope : {1, 2}) EXPECT_EQ(state(scope), kNotSet);
  Use(file_);
  EXPECT_EQ(state(), kMissing);
  UseContent("<key name='other' scope='User'/>");
  EXPECT_EQ(state(), kOtherRoot);
  UseContent(User("\n  <key></kay>"));
  for (int round = 0; round < 2; ++round) {
    const auto [damaged, path, error] = GetXMLConfigFileInfo(1);
    EXPECT_EQ(std::tuple(damaged, error.line, error.column, error.reason),
              std::tuple(kDamaged, 2, 10, "mismatched tag"));
    EXPECT_EQ(path, File(file_));
    Put(1);  // the reason stays until the file is replaced
  }
  Save();
  EXPECT_EQ(state(), kUsable);
  EXPECT_TRUE(GetXMLConfigFileInfo(1).error.reason.IsEmpty());
}

TEST_F(ConfigStoreTest, ReadsWhatEarlierVersionsSavedOfOtherCharacters) {
  const std::string old = User(
      "<value name='a&#x01;' data='&#x1F;x&#x41;&#x20;&#x100;&#x0A;&#x09;&#x0D;\xEF\xBF\xBF'/>"
      "<value name='b' data='2'/>");
  UseContent(old);
  EXPECT_EQ(String(u"", u"a\uFFFD"), u"\uFFFDxA \u0100\n\t\r\uFFFD");
  EXPECT_EQ(GetXMLConfigFileInfo(1).state, XMLConfigFileState::kDamaged);
  Save();
  ExpectThatXmllintTakesIt();
  EXPECT_EQ(ReadFile(file_.string() + ".discarded"), old);
  Use(file_);
  EXPECT_EQ(Int(u"", u"b"), 2);
}

TEST_F(ConfigStoreTest, AnotherPathDropsTheDocumentAndSaysWhatWasLost) {
  const fs::path other = env_.folder() / "other.xml";
  WriteFile(other, User("<value name='v' data='2'/>"));
  UseContent(User("<value name='v' data='1'/>"));
  EXPECT_EQ(V(), 1);
  EXPECT_TRUE(SetXMLConfig(1, File(other)));
  Put(3);
  EXPECT_TRUE(SetXMLConfig(1, File(other))) << "the same path keeps the document";
  EXPECT_EQ(V(), 3);
  EXPECT_FALSE(SetXMLConfig(1, File(file_)));
  Put(4);
  Save();
  EXPECT_TRUE(SetXMLConfig(1, File(other)));
  EXPECT_EQ(V(), 2);
}

TEST_F(ConfigStoreTest, NamesThatMeetAreOneAndTheWriterOfASecondSpellingIsInformed) {
  using enum XMLConfigWriteStatus;
  Use(file_);
  EXPECT_EQ(GetXMLConfigWriteStatus(2), kNothingWritten);
  const std::tuple<const char16_t*, const char16_t*, XMLConfigWriteStatus> cases[] = {
      {u"Key", u"\u00C4", kWritten},       {u"key", u"\u00C4", kOtherSpelling},
      {u"Key", u"\u00D6", kOtherSpelling}, {u"Key", u"\u00E4", kWritten},
      {u"Key", u"\u3042", kWritten},       {u"Key", u"\u304D", kOtherSpelling},
      {u"Key", u"\xDC00", kNotXml},        {u"Key/x\xD800y", u"v", kNotXml},
      {u"Key", u"\u0391", kWritten},       {u"Key", u"\u03D1", kOtherSpelling}};
  for (const auto& [key, value, status] : cases) {
    EXPECT_EQ(WriteXMLConfigInt(1, key, value, 5), status != kNotXml);
    EXPECT_EQ(GetXMLConfigWriteStatus(1), status) << CAtlString(value);
  }
  EXPECT_EQ(Keys(u""), u"Key,");
  EXPECT_EQ(Int(u"KEY", u"\u00D6"), 5);
}

TEST_F(ConfigStoreTest, TheIndexNoticesWhatBecomesOfElementsInHand) {
  std::string many = "<value name='first' data='1'/><!-- x -->";
  for (int i = 0; i < 500; ++i) {
    many += "<value name='v" + std::to_string(i) + "' data='" + std::to_string(i) + "'/>";
  }
  UseContent(User("<key name='k'>" + many + "</key>"));
  const auto value_of = [](const char16_t* name) { return Int(u"k", name); };
  EXPECT_EQ(value_of(u"v499"), 499);
  TiXmlElement* const key = FindXMLSubKeyElement(1, u"k");
  // The index notices that a kept element is destroyed or appended later.
  TiXmlElement* const kept = FindXMLConfigValueElement(key, u"", u"v50");
  TiXmlElement* const renamed = FindXMLConfigValueElement(key, u"", u"v70");
  EXPECT_EQ(value_of(u"v1"), 1);
  key->RemoveChild(kept);
  EXPECT_EQ(value_of(u"v50"), -1);
  EXPECT_EQ(value_of(u"v51"), 51);
  TiXmlElement added("value");
  added.SetAttribute("name", "added");
  added.SetAttribute("data", "7");
  key->InsertEndChild(added);
  EXPECT_EQ(value_of(u"added"), 7);
  EXPECT_EQ(GetXMLConfigValueElement(key, u"", u"\u0001"), nullptr);
  renamed->SetAttribute("name", "\x01");
  EXPECT_FALSE(SaveXMLConfigFile(1)) << "a file that could not be read again";
  renamed->SetAttribute("name", "renamed");
  EXPECT_EQ(value_of(u"v70"), -1);
  EXPECT_EQ(value_of(u"renamed"), 70);
  // The next operation sees an element that was inserted before others or replaced another.
  added.SetAttribute("name", "FIRST");
  FindXMLRootElement(1);
  key->InsertBeforeChild(key->FirstChild(), added);
  EXPECT_EQ(value_of(u"first"), 7);
  EXPECT_TRUE(DeleteXMLConfigValueElement(1, u"k", u"first"));
  EXPECT_EQ(value_of(u"first"), 1);
  EXPECT_TRUE(DeleteXMLSubKeyElement(1, u"k"));
  EXPECT_EQ(value_of(u"first"), -1);
  Put(2, u"first", u"k");
  EXPECT_EQ(value_of(u"first"), 2);
}

TEST_F(ConfigStoreTest, KeyPathsStayWithinWhatCanBeLoadedAgain) {
  Use(file_);
  CAtlString path;
  for (int i = 0; i < kMostXmlDepth - 2; ++i) path += u"k/";
  Put(1, u"v", path);
  EXPECT_FALSE(WriteXMLConfigInt(1, path + u"k", u"v", 1));
  Save();
  Use(file_);
  EXPECT_EQ(Int(path, u"v"), 1);
  EXPECT_EQ(Int(CAtlString(u'/', 200'000) + u"x" + CAtlString(u'\\', 10), u"v"), -1);
}

// Made before the library's own objects, and destroyed after them.
struct AtEnd {
  void (*action)() = nullptr;
  ~AtEnd() {
    if (action != nullptr) action();
  }
} at_end;

TEST_F(ConfigStoreTest, MayBeUsedByDestructorsAtTheEndOfTheProgram) {
  const auto end = [] {
    at_end.action = [] {
      WriteXMLConfigInt(1, u"", u"v", 6);
      static_cast<void>(SaveXMLConfigFile(1));
      CAtlString(u"\u00E9").MakeUpper();
      WritePreferenceInt(kSharedScope, u"Key", u"n", 7, u"com.example.end");
    };
    CAtlString(u"\u00E9").MakeUpper();
    WritePreferenceInt(kSharedScope, u"Key", u"n", 5, u"com.example.end");
    Put(5);
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  };
  Use(file_);
  EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
  Use(file_);
  EXPECT_EQ(V(), 6);
  unsigned long error = 9;
  EXPECT_EQ(GetPreferenceInt(kSharedScope, u"Key", u"n", 0, &error, u"com.example.end"), 7);
}

}  // namespace
}  // namespace orvik::test
