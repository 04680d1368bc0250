// Values and lines as the browser shows, edits and keeps them.
#include "tests/support/test_environment.h"
#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/draft.h"
#include "tools/orvikprefs/browse/terminal.h"
#include "tools/orvikprefs/browse/value_text.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::test {
namespace {

using namespace prefstool;
using namespace prefstool::browse;

Value Json(const char* text) {
  TextError error;
  return ReadJson(text, &error);
}

TEST(BrowseValueForm, GoesThroughOneLine) {
  const std::tuple<Type, const char*, const char*> cases[] = {
      {Type::kString, "C:\\new text", "C:\\new text"},
      {Type::kInteger, "12x", nullptr},
      {Type::kBoolean, "yes", "true"},
      {Type::kData, "00ff 4D", "00 ff 4d"},
      {Type::kData, "", ""},
      {Type::kData, "000", nullptr},
      {Type::kData, "0g", nullptr},
  };
  for (const auto& [type, line, again] : cases) {
    std::string mistake;
    const Value value = FromLine(type, line, mistake);
    EXPECT_EQ(mistake.empty(), again != nullptr) << line;
    EXPECT_EQ(value ? LineOf(value).value_or("no line") : "", again != nullptr ? again : "");
  }
  for (const Value& value : {Value(u"two\nlines"), Value(u"\u202Egnp"), Value::Dictionary()}) {
    EXPECT_EQ(LineOf(value), std::nullopt);
  }
}

TEST(BrowseLineInput, EditsWholeCharacters) {
  LineInput line("a\u4E2De\u0301\U0001F600");
  const auto take = [&](std::initializer_list<int> keys) {
    for (const int key : keys) EXPECT_TRUE(line.HandleKey(key));
    return std::string(line.text());
  };
  take({Terminal::kLeft, Terminal::kLeft});  // over the letter and its accent
  EXPECT_EQ(line.Shown(20).before, "a\u4E2D");
  EXPECT_EQ(take({'\b', 0x1F3B5}), "a\U0001F3B5e\u0301\U0001F600");
  EXPECT_EQ(take({Terminal::kHome, Terminal::kDelete, 'x', Terminal::kRight, 'K' - '@'}),
            "x\U0001F3B5");
  line.Replace("one two  ");
  EXPECT_EQ(take({'W' - '@'}), "one ");
  EXPECT_EQ(take({'U' - '@'}), "");
  EXPECT_EQ(take({'\b', Terminal::kLeft}), "");
  for (const int other : {int{Terminal::kPageUp}, 7}) EXPECT_FALSE(line.HandleKey(other));
  line.Insert(U"two\nlines\x202E");
  EXPECT_EQ(line.text(), "two\nlines\u202E");
  EXPECT_EQ(line.Shown(20).before, "two\u240Alines\uFFFD");
}

TEST(BrowseLineInput, ShowsWhatIsAroundTheCursor) {
  LineInput line("0123456789");
  const auto shown = [&](int columns) {
    const LineInput::Window window = line.Shown(columns);
    return window.before + "|" + window.after;
  };
  EXPECT_EQ(shown(5), "6789|");
  for (int i = 0; i < 7; ++i) line.HandleKey(Terminal::kLeft);
  EXPECT_EQ(shown(20), "012|3456789");
  EXPECT_EQ(shown(5), "012|34");
  EXPECT_EQ(shown(3), "12|3");
  line.Replace("\u4E2D\u6587x");
  EXPECT_EQ(shown(4), "\u6587x|");
}

TEST(BrowseTextColumns, CutsAndWrapsText) {
  const std::tuple<const char*, int, const char*> cases[] = {{"abc", 3, "abc"},
                                                             {"abcd", 3, "ab\u2026"},
                                                             {"\u4E2D\u6587", 3, "\u4E2D\u2026"},
                                                             {"\u4E2D\u6587", 2, "\u2026"},
                                                             {"e\u0301x", 2, "e\u0301x"},
                                                             {"abc", 0, ""}};
  for (const auto& [text, width, fitted] : cases) EXPECT_EQ(FitColumns(text, width), fitted);
  const std::tuple<const char*, int, std::vector<std::string>> wrapped[] = {
      {"one two three", 8, {"one two ", "three"}},
      {"abcdef", 4, {"abcd", "ef"}},
      {"a \u4E2D\u6587\u4E2D", 5, {"a ", "\u4E2D\u6587", "\u4E2D"}},
      {"", 5, {""}}};
  for (const auto& [text, width, lines] : wrapped) EXPECT_EQ(WrapColumns(text, width), lines);
}

TEST(BrowseTextColumns, FitsHintsAndSizes) {
  const std::vector<std::string> hints = {"? help", "q quit", "Tab values", "w"};
  EXPECT_EQ(FitHints(hints, 80), "? help  q quit  Tab values  w");
  EXPECT_EQ(FitHints(hints, 20), "? help  q quit  w");
  EXPECT_EQ(FitHints(hints, 6), "? help");
  EXPECT_EQ(FitHints(hints, 5), "w");
  const std::pair<std::size_t, const char*> sizes[] = {{0, "0"},         {999, "999"},
                                                       {1000, "1.0K"},   {999949, "999.9K"},
                                                       {999950, "1.0M"}, {72400000, "72.4M"}};
  for (const auto& [size, text] : sizes) EXPECT_EQ(SizeText(size), text);
}

// The whole help fits on a screen of 80 by 24, and no line is cut at 40 columns.
TEST(BrowseHelp, FitsOneScreen) {
  EXPECT_LE(HelpLines(79).size(), 18u);
  for (const int columns : {79, 39}) {
    for (const std::string& line : HelpLines(columns)) {
      EXPECT_LE(ColumnsOfUtf8(line), columns) << line;
    }
  }
}

TEST(BrowseValueForm, ConvertsBetweenTypes) {
  const std::tuple<const char*, Type, const char*> cases[] = {
      {"\"12\"", Type::kInteger, "12"}, {"\"x\"", Type::kInteger, "(none)"},
      {"12", Type::kString, "\"12\""},  {"12.0", Type::kInteger, "12"},
      {"true", Type::kInteger, "1"},    {"true", Type::kString, "\"true\""},
      {"1", Type::kBoolean, "true"},    {R"({"$data":"AP8="})", Type::kString, "\"AP8=\""},
      {"7", Type::kArray, "[7]"},       {"7", Type::kInteger, "7"},
      {"true", Type::kData, "(none)"},  {"1234", Type::kData, "(none)"},
  };
  for (const auto& [from, type, to] : cases) {
    const Value value = Converted(Json(from), type);
    EXPECT_EQ(value ? JsonText(value) : "(none)", to) << from;
  }
}

TEST(BrowseValueView, ShowsAllOfAValueAndWhatItWas) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(ViewLines(u"one\ntwo \x1B[31m three", {}, 12),
            (Lines{"string, 19 UTF-16 units", "one", "two ", "\\x1b[31m ", "three", "",
                   "before: (nothing)"}));
  EXPECT_EQ(ViewLines(Json("1.0"), Json("1"), 20),
            (Lines{"real", "1.0", "", "before: integer", "1"}));
  EXPECT_EQ(ViewLines({}, Json("[1]"), 20),
            (Lines{"(nothing)", "", "before: array, 1 element", "[", "  1", "]"}));
  const Value data = Json(R"({"$data":"AP8="})");
  EXPECT_EQ(ViewLines(data, data, 20), (Lines{"data, 2 bytes", "00 ff"}));
}

class BrowseKeptChangesTest : public EnvironmentTest {
 protected:
  static std::vector<Change> Changes(const char* after) {
    std::vector<Change> changes;
    changes.push_back({{"A", "x/y"}, Json("1"), Json(after)});
    changes.push_back({{NameText(CAtlString(u"\xD800")), ""}, Value(), Json("{}")});
    changes.push_back({{"gone"}, Json(R"({"$dictionary":{"$date":"x"}})"), Value()});
    return changes;
  }
  fs::path Folder() const { return env_.home() / "Library/Application Support/orvikprefs"; }
};

TEST_F(BrowseKeptChangesTest, ComeBackForTheirFileAlone) {
  int error = 0;
  const std::string first = KeepChanges("/a.plist", Changes("1.0"), &error);
  const std::string second = KeepChanges("/a.plist", Changes("2"), &error);
  EXPECT_EQ(fs::status(first).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(Folder()).permissions(), fs::perms(0700));
  EXPECT_TRUE(FindKeptChanges("/b.plist").empty());
  std::vector<KeptChanges> kept = FindKeptChanges("/a.plist");
  ASSERT_EQ(kept.size(), 2u);
  EXPECT_EQ(kept[0].path, first);
  const std::vector<Change> changes = Changes("1.0");
  ASSERT_EQ(kept[0].changes.size(), changes.size());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    EXPECT_EQ(kept[0].changes[i].path, changes[i].path);
    EXPECT_EQ(kept[0].changes[i].before, changes[i].before) << i;
    EXPECT_EQ(kept[0].changes[i].after, changes[i].after) << i;
  }
  ForgetKeptChanges(first);
  kept = FindKeptChanges("/a.plist");
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(kept[0].path, second);
}

// host/private_files.h refuses folders of other users.
TEST_F(BrowseKeptChangesTest, AreNotPutWhereOthersAre) {
  int error = 0;
  ASSERT_NE(KeepChanges("/a.plist", Changes("1"), &error), "");
  fs::permissions(Folder(), fs::perms(0755));
  EXPECT_EQ(KeepChanges("/a.plist", Changes("1"), &error), "");
  EXPECT_EQ(error, EPERM);
  EXPECT_TRUE(FindKeptChanges("/a.plist").empty());
  fs::permissions(Folder(), fs::perms(0700));
  EXPECT_EQ(FindKeptChanges("/a.plist").size(), 1u);
}

}  // namespace
}  // namespace orvik::test
