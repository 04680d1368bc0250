#include "tools/orvikprefs/browse/model.h"

#include <unistd.h>

#include "prefs/preferences.h"
#include "tests/support/test_environment.h"
#include "tools/orvikprefs/browse/line_input.h"
#include "tools/orvikprefs/browse/search.h"
#include "tools/orvikprefs/browse/terminal.h"
#include "tools/orvikprefs/browse/typed_path.h"
#include "tools/orvikprefs/browse/value_form.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"

namespace orvik::test {
namespace {

using namespace prefstool;
using namespace prefstool::browse;

constexpr const char16_t* kDomain = u"com.orviktech.Registry";

Value Text(const char16_t* text) {
  return Value(CAtlString(text).CreateCFStringRef(kCFAllocatorDefault));
}

// What is at the path, as text; "(none)" for nothing.
std::string Shown(const Model& model, const Path& path) {
  const CFPropertyListRef value = FindIn(model.tree(), path);
  return value != nullptr ? ValueText(value) : "(none)";
}

// The rows of keys as "mark depth name", one a line.
std::string Rows(const Model& model) {
  std::string text;
  for (std::size_t row = 0; row < model.keys().size(); ++row) {
    const KeyRow& key = model.keys()[row];
    const Path path = model.PathOf(static_cast<int>(row));
    text += " *+~!"[static_cast<int>(key.mark)];
    text += std::string(static_cast<std::size_t>(key.depth), '.') +
            (path.empty() ? "/" : path.back()) + (key.is_open && key.has_keys ? "-" : "") + "\n";
  }
  return text;
}

class BrowseModelTest : public EnvironmentTest {
 protected:
  BrowseModelTest() {
    Write(u"A/B", u"text", u"one");
    Write(u"A/B", u"more", u"two");
    Write(u"A/C", u"x", u"three");
    Write(u"Z", u"z", u"four");
  }

  // As another process would; the file's time always differs.
  static void Write(const char16_t* key, const char16_t* name, const char16_t* value) {
    EXPECT_EQ(WritePreferenceString(0, key, name, value, kDomain), 0u);
  }
  static std::string Stored(const char16_t* key, const char16_t* name) {
    unsigned long error = 0;
    const CAtlString value = GetPreferenceString(0, key, name, u"(none)", &error, kDomain);
    return prefstool::ToUtf8(value);
  }
};

TEST_F(BrowseModelTest, OpensKeysAndKeepsTheSelection) {
  Model model(0, kDomain);
  EXPECT_EQ(Rows(model), " /-\n .A\n .Z\n");
  model.Open(1, true);
  EXPECT_EQ(Rows(model), " /-\n .A-\n ..B\n ..C\n .Z\n");
  ASSERT_TRUE(model.Reveal({"A", "B", "text"}));
  EXPECT_EQ(model.PathOf(model.selected_key()), (Path{"A", "B"}));
  EXPECT_EQ(model.PathOfValue(model.selected_value()), (Path{"A", "B", "text"}));
  EXPECT_FALSE(model.Reveal({"A", "none"}));
  EXPECT_EQ(model.PathOf(model.selected_key()), (Path{"A", "B"}));
  model.Open(1, false);  // above the selected key
  EXPECT_EQ(Rows(model), " /-\n .A\n .Z\n");
  EXPECT_EQ(model.PathOf(model.selected_key()), Path{"A"});
  model.SelectKey(99);
  EXPECT_EQ(model.PathOf(model.selected_key()), Path{"Z"});
}

TEST_F(BrowseModelTest, CollectsMarksAndUndoesChanges) {
  Model model(0, kDomain);
  model.Reveal({"A", "B"});
  EXPECT_EQ(model.Set({"A", "B", "text"}, Text(u"new")), "");
  EXPECT_EQ(model.Add({"A", "D"}, EmptyTree().Get()), "");
  EXPECT_EQ(model.Remove({"A", "C"}), "");
  EXPECT_EQ(model.Move({"Z", "z"}, {"Z", "y"}), "");
  EXPECT_EQ(Rows(model), "*/-\n*.A-\n*..B\n+..D\n*.Z\n");
  EXPECT_EQ(model.changes().size(), 5u);
  EXPECT_EQ(Stored(u"A/B", u"text"), "one");

  // Refused, with nothing changed.
  EXPECT_NE(model.Add({"A", "B"}, Text(u"x")), "");
  EXPECT_NE(model.Add({"A", "B", "text", "below"}, Text(u"x")), "");
  EXPECT_NE(model.Move({"A"}, {"A", "B", "A"}), "");
  EXPECT_NE(model.Move({"Z", "y"}, {"A"}), "");
  EXPECT_NE(model.Remove({"none"}), "");
  EXPECT_NE(model.Set({}, Text(u"x")), "");
  EXPECT_NE(model.Copy({"A"}, {"Z"}), "");
  EXPECT_EQ(model.changes().size(), 5u);

  // One by one: the removal of the key C comes back with its value.
  model.Revert({"A", "C"});
  EXPECT_EQ(Shown(model, {"A", "C", "x"}), "three");
  EXPECT_EQ(model.changes().size(), 4u);
  EXPECT_EQ(model.Undo(), "undo: give up /A/C");
  EXPECT_EQ(model.Undo(), "undo: move /Z/z to /Z/y");
  EXPECT_EQ(Shown(model, {"Z", "z"}), "four");
  EXPECT_EQ(model.Redo(), "redo: move /Z/z to /Z/y");
  EXPECT_EQ(Shown(model, {"Z", "y"}), "four");
  for (const char* undone : {"undo: move /Z/z to /Z/y", "undo: delete /A/C", "undo: add /A/D",
                             "undo: set /A/B/text", "nothing to undo"}) {
    EXPECT_EQ(model.Undo(), undone);
  }
  EXPECT_TRUE(model.changes().empty());
  EXPECT_EQ(model.Redo(), "redo: set /A/B/text");
  EXPECT_EQ(Shown(model, {"A", "B", "text"}), "new");
  model.Remove({"Z"});
  EXPECT_EQ(model.Redo(), "nothing to redo");
}

// Undo names values, not versions of the file: it outlives the changes of others and a write.
TEST_F(BrowseModelTest, UndoesWhatOthersLeftAloneAndWhatWasWritten) {
  Model model(0, kDomain);
  model.Set({"A", "B", "text"}, Text(u"mine"));
  model.Set({"Z", "z"}, Text(u"mine"));
  Write(u"A/B", u"more", u"theirs");
  ASSERT_TRUE(model.Refresh());
  EXPECT_EQ(model.Undo(), "undo: set /Z/z");
  EXPECT_EQ(Shown(model, {"Z", "z"}), "four");
  EXPECT_EQ(Shown(model, {"A", "B", "more"}), "theirs");
  EXPECT_EQ(model.Redo(), "redo: set /Z/z");
  ASSERT_TRUE(model.Apply().ok());
  Write(u"Z", u"z", u"theirs");
  model.Refresh();
  EXPECT_EQ(model.Undo(), "cannot undo: another process has changed /Z/z since");
  EXPECT_EQ(model.Undo(), "undo: set /A/B/text");
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(Stored(u"A/B", u"text"), "one");
  EXPECT_EQ(Stored(u"Z", u"z"), "theirs");
}

// The line of a value is open, or the question whether to delete it, while its value changes.
TEST_F(BrowseModelTest, MakesAConflictOfAValueThatChangedWhileItWasEdited) {
  Model model(0, kDomain);
  const Path path = {"A", "B", "text"};
  const Value began = model.At(path);
  Write(u"A/B", u"text", u"theirs");
  ASSERT_TRUE(model.Refresh());
  EXPECT_NE(model.Set(path, Text(u"mine"), began), "");
  EXPECT_EQ(Shown(model, path), "theirs");
  EXPECT_TRUE(model.changes().empty());
  ASSERT_EQ(model.conflicts().size(), 1u);
  EXPECT_EQ(ValueText(model.conflicts()[0].before), "one");
  EXPECT_EQ(ValueText(model.conflicts()[0].there), "theirs");
  EXPECT_EQ(ValueText(model.conflicts()[0].wanted), "mine");
  // Still another value: the conflict shows it.
  Write(u"A/B", u"text", u"theirs again");
  model.Refresh();
  EXPECT_EQ(ValueText(model.conflicts()[0].there), "theirs again");
  // The newest wish of the user counts; a deletion is one.
  EXPECT_NE(model.Remove(path, began), "");
  ASSERT_EQ(model.conflicts().size(), 1u);
  EXPECT_FALSE(model.conflicts()[0].wanted);
  EXPECT_EQ(model.Settle(path, true), "");
  EXPECT_TRUE(model.conflicts().empty());
  EXPECT_EQ(Shown(model, path), "(none)");
  EXPECT_EQ(model.Undo(), "undo: take mine: /A/B/text");

  // Who edits the value of the other has decided; one that is the same as the other's is none.
  const Value second = model.At(path);
  EXPECT_EQ(model.Set(path, Text(u"decided"), second), "");
  EXPECT_EQ(Shown(model, path), "decided");
  EXPECT_EQ(model.Set(path, Text(u"decided"), second), "");
  EXPECT_TRUE(model.conflicts().empty());
}

// A key comes in above, the selected one goes, and comes back.
TEST_F(BrowseModelTest, KeepsTheSelectionByName) {
  Model model(0, kDomain);
  ASSERT_TRUE(model.Reveal({"A", "B", "text"}));
  Write(u"A/A", u"x", u"new key above");
  Write(u"A/B", u"a", u"new value above");
  ASSERT_TRUE(model.Refresh());
  EXPECT_EQ(model.SelectedPath(), (Path{"A", "B", "text"}));
  EXPECT_EQ(model.PathOfValue(model.selected_value()), (Path{"A", "B", "text"}));
  EXPECT_EQ(model.PathOf(model.selected_key()), (Path{"A", "B"}));
  model.MoveBy(-1);
  EXPECT_EQ(model.SelectedPath(), (Path{"A", "B", "more"}));

  for (const bool whole_key : {false, true}) {
    EXPECT_EQ(DeletePreference(0, whole_key ? u"A" : u"A/B", whole_key ? u"B" : u"more", kDomain),
              0u);
    ASSERT_TRUE(model.Refresh());
    EXPECT_TRUE(model.is_gone());
    EXPECT_EQ(model.SelectedPath(), (Path{"A", "B", "more"}));
    EXPECT_NE(model.Remove(model.SelectedPath()), "");
    EXPECT_TRUE(model.changes().empty());
  }
  Write(u"A/B", u"more", u"back");
  ASSERT_TRUE(model.Refresh());
  EXPECT_FALSE(model.is_gone());
  EXPECT_EQ(model.PathOfValue(model.selected_value()), (Path{"A", "B", "more"}));
  DeletePreference(0, u"A/B", u"more", kDomain);
  model.Refresh();
  model.FocusValues(false);
  EXPECT_FALSE(model.is_gone());
  model.MoveBy(0);
  EXPECT_EQ(model.SelectedPath(), (Path{"A", "B"}));

  // What the user deletes gives way to the row in its place.
  Write(u"A/B", u"b", u"");
  Write(u"A/B", u"c", u"");
  model.Refresh();
  ASSERT_TRUE(model.Reveal({"A", "B", "b"}));
  model.Remove({"A", "B", "b"});
  EXPECT_EQ(model.SelectedPath(), (Path{"A", "B", "c"}));
  model.Undo();
  EXPECT_EQ(model.SelectedPath(), (Path{"A", "B", "b"}));
  model.Redo();
  EXPECT_EQ(model.SelectedPath(), (Path{"A", "B"}));
}

// An integer and a real of one value differ, at any depth; a real that is no number is itself.
TEST_F(BrowseModelTest, TakesValuesForTheSameOnlyIfTheyAreWrittenAlike) {
  const auto json = [](const char* text) {
    TextError error;
    return ReadJson(text, &error);
  };
  Model model(0, kDomain);
  model.Set({"n"}, json("1"));
  model.Set({"list"}, json("[1]"));
  model.Set({"nan"}, json(R"({"$real":"nan"})"));
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_TRUE(model.changes().empty());
  model.Remove({"n"});
  model.Add({"n"}, json("1.0"));
  model.Set({"list"}, json("[1.0]"));
  EXPECT_EQ(model.changes().size(), 2u);
  ASSERT_TRUE(model.Apply().ok());
  Model again(0, kDomain);
  EXPECT_EQ(Shown(again, {"n"}), "1.0");
  EXPECT_EQ(Shown(again, {"list"}), "[1.0]");
  // Such a change of another process is one, too.
  again.Set({"n"}, json("2"));
  model.Set({"n"}, json("1"));
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(again.Apply().error, PrefError::kConditionNotMet);
  EXPECT_EQ(again.conflicts().size(), 1u);
}

TEST_F(BrowseModelTest, ShowsAndChangesElementsOfArrays) {
  TextError error;
  Model model(0, kDomain);
  model.Set({"Z", "list"}, ReadJson(R"(["a", {"k": 1}, [2, 3]])", &error));
  ASSERT_TRUE(model.Apply().ok());
  ASSERT_TRUE(model.Reveal({"Z", "list", "1"}));
  EXPECT_EQ(Rows(model), " /-\n .A\n .Z-\n ..list-\n ...1\n ...2\n");
  ASSERT_TRUE(model.Reveal({"Z", "list", "2", "0"}));
  EXPECT_EQ(model.values().size(), 2u);
  EXPECT_EQ(model.Set({"Z", "list", "2", "0"}, Text(u"x")), "");
  EXPECT_EQ(model.Set({"Z", "list", "1", "k"}, Text(u"y")), "");
  EXPECT_EQ(model.Add({"Z", "list", "3"}, Text(u"last")), "");
  EXPECT_EQ(model.Remove({"Z", "list", "0"}), "");
  EXPECT_EQ(Shown(model, {"Z", "list"}), R"([{"k":"y"},["x",3],"last"])");
  EXPECT_EQ(model.changes().size(), 1u);
  for (const char* none : {"3", "01", "-1", "x", ""}) {
    EXPECT_NE(model.Remove({"Z", "list", none}), "") << none;
  }
  EXPECT_NE(model.Add({"Z", "list", "4"}, Text(u"x")), "");
  EXPECT_NE(model.Move({"Z", "list", "0"}, {"Z", "moved"}), "");
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(Shown(Model(0, kDomain), {"Z", "list", "2"}), "last");
}

// Two names that a terminal shows alike stay two.
TEST_F(BrowseModelTest, TellsNamesWithLoneSurrogatesApart) {
  Write(u"S", u"?", u"question");
  Write(u"S", u"\xD800", u"half");
  Model model(0, kDomain);
  ASSERT_TRUE(model.Reveal({"S"}));
  ASSERT_EQ(model.values().size(), 2u);
  model.FocusValues(true);
  model.SelectValue(1);
  EXPECT_EQ(model.Remove(model.SelectedPath()), "");
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(Stored(u"S", u"?"), "question");
  EXPECT_EQ(Stored(u"S", u"\xD800"), "(none)");
}

TEST_F(BrowseModelTest, WritesAllChangesAtOnce) {
  Model model(0, kDomain);
  model.Set({"A", "B", "text"}, Text(u"new"));
  model.Remove({"A", "C"});
  model.Copy({"A", "B"}, {"a/b\\c", "B"});
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_TRUE(model.changes().empty());
  Model again(0, kDomain);
  EXPECT_EQ(Shown(again, {"a/b\\c", "B", "text"}), "new");
  EXPECT_EQ(Shown(again, {"A", "C"}), "(none)");
}

TEST_F(BrowseModelTest, CarriesChangesOverToWhatOthersWrite) {
  Model model(0, kDomain);
  model.Set({"A", "B", "text"}, Text(u"mine"));
  model.Set({"Z", "z"}, Text(u"mine too"));
  model.Reveal({"A", "B"});
  Write(u"A/C", u"x", u"theirs");
  Write(u"Z", u"z", u"theirs too");
  EXPECT_TRUE(model.Refresh());
  EXPECT_EQ(Rows(model), "!/-\n*.A-\n*..B\n~..C\n!.Z\n");
  EXPECT_EQ(Shown(model, {"A", "B", "text"}), "mine");
  EXPECT_EQ(Shown(model, {"A", "C", "x"}), "theirs");
  EXPECT_EQ(Shown(model, {"Z", "z"}), "theirs too");
  ASSERT_EQ(model.conflicts().size(), 1u);
  EXPECT_EQ(model.conflicts()[0].path, (Path{"Z", "z"}));
  model.Settle(model.conflicts()[0].path, true);
  EXPECT_EQ(Shown(model, {"Z", "z"}), "mine too");
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(Stored(u"Z", u"z"), "mine too");
  EXPECT_EQ(Stored(u"A/C", u"x"), "theirs");
}

// The file changes between the last look and the writing.
TEST_F(BrowseModelTest, NeverOverwritesWhatAnotherProcessWroteMeanwhile) {
  Model model(0, kDomain);
  model.Set({"A", "B", "text"}, Text(u"mine"));
  model.Set({"A", "B", "more"}, Text(u"mine"));
  Write(u"A/B", u"text", u"theirs");
  const PrefStatus status = model.Apply();
  EXPECT_EQ(status.error, PrefError::kConditionNotMet);
  EXPECT_EQ(Stored(u"A/B", u"text"), "theirs");
  EXPECT_EQ(Stored(u"A/B", u"more"), "two");
  ASSERT_EQ(model.conflicts().size(), 1u);
  model.Settle(model.conflicts()[0].path, false);
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(Stored(u"A/B", u"text"), "theirs");
  EXPECT_EQ(Stored(u"A/B", u"more"), "mine");
}

TEST_F(BrowseModelTest, SaysWhatIsWrongWithTheFile) {
  Model model(0, kDomain);
  const std::string file = model.file();
  model.Set({"Z", "z"}, Text(u"mine"));
  WriteFile(file, "<plist><dict><key>");
  EXPECT_TRUE(model.Refresh());
  EXPECT_EQ(model.status().error, PrefError::kDamaged);
  EXPECT_EQ(Shown(model, {"A", "C", "x"}), "three");
  EXPECT_FALSE(model.Apply().ok());
  EXPECT_EQ(ReadFile(file), "<plist><dict><key>");
  fs::remove(file);
  EXPECT_TRUE(model.Refresh());
  EXPECT_EQ(model.status().error, PrefError::kNotFound);
  EXPECT_EQ(model.conflicts().size(), 1u);
  EXPECT_FALSE(model.Refresh());
}

TEST_F(BrowseModelTest, FindsNamesAndValuesInAnyCase) {
  Write(u"A/\u00C4rger", u"Stra\u00DFe", u"GR\u00D6\u00DFE");
  Model model(0, kDomain);
  const SearchIndex index(model.tree());
  const auto found = [&](const char* text) {
    std::string paths;
    for (const std::size_t hit : index.Find(text)) paths += JoinedPath(index.PathOf(hit)) + " ";
    return paths;
  };
  EXPECT_EQ(found("THR"), "A/C/x ");
  EXPECT_EQ(found("\u00E4RGER"), "A/\u00C4rger ");
  EXPECT_EQ(found("gr\u00F6sse"), "A/\u00C4rger/Stra\u00DFe ");
  EXPECT_EQ(found("o"), "A/B/more A/B/text Z/z ");
  EXPECT_EQ(found("moretwo"), "");  // not across a name and its value
  EXPECT_EQ(found(""), "");
}

TEST_F(BrowseModelTest, CompletesPaths) {
  Write(u"Software/Orvik", u"x", u"");
  Write(u"Software/Orvik Two", u"x", u"");
  Model model(0, kDomain);
  const std::pair<const char*, const char*> cases[] = {
      {"/So", "/Software/"},
      {"/", "/"},
      {"/Software/", "/Software/Orvik"},
      {"/Software/Orvik", "/Software/Orvik"},
      {"/A/C/", "/A/C/x"},
      {"/none/x", "/none/x"},
      {"A/B/t", "A/B/text"},
      {"/Software/Orvik ", "/Software/Orvik Two/"},
  };
  for (const auto& [typed, completed] : cases) {
    EXPECT_EQ(CompletedPath(model.tree(), typed), completed) << typed;
  }
}

TEST(BrowseValueForm, GoesThroughOneLine) {
  const std::tuple<ValueType, const char*, const char*> cases[] = {
      {ValueType::kString, "C:\\new text", "C:\\new text"},
      {ValueType::kInteger, "-9223372036854775808", "-9223372036854775808"},
      {ValueType::kInteger, "12x", nullptr},
      {ValueType::kReal, "2.5", "2.5"},
      {ValueType::kBoolean, "yes", "true"},
      {ValueType::kBoolean, "maybe", nullptr},
      {ValueType::kDate, "2024-05-06T07:08:09Z", "2024-05-06T07:08:09Z"},
      {ValueType::kDate, "yesterday", nullptr},
      {ValueType::kData, "00ff 4D", "00 ff 4d"},
      {ValueType::kData, "", ""},
      {ValueType::kData, "0", nullptr},
      {ValueType::kData, "0g", nullptr},
  };
  for (const auto& [type, line, again] : cases) {
    std::string mistake;
    const Value value = FromLine(type, line, mistake);
    ASSERT_EQ(static_cast<bool>(value), again != nullptr) << line;
    EXPECT_EQ(mistake.empty(), again != nullptr) << line;
    if (again != nullptr) {
      EXPECT_EQ(LineOf(value), again);
    }
  }
  EXPECT_EQ(LineOf(Text(u"two\nlines")), std::nullopt);
  EXPECT_EQ(LineOf(Text(u"\u202Egnp")), std::nullopt);
  EXPECT_EQ(LineOf(EmptyTree().Get()), std::nullopt);
}

TEST(BrowseLineInput, EditsWholeCharacters) {
  LineInput line("a\u4E2De\u0301\U0001F600");
  const auto take = [&](std::initializer_list<int> keys) {
    for (const int key : keys) EXPECT_TRUE(line.Take(key));
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
  for (const int other : {int{Terminal::kPageUp}, 7}) EXPECT_FALSE(line.Take(other));
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
  for (int i = 0; i < 7; ++i) line.Take(Terminal::kLeft);
  EXPECT_EQ(shown(20), "012|3456789");
  EXPECT_EQ(shown(5), "012|34");
  EXPECT_EQ(shown(3), "12|3");
  line.Replace("\u4E2D\u6587x");
  EXPECT_EQ(shown(4), "\u6587x|");
}

TEST(BrowseTerminal, CutsTextAtColumns) {
  const std::tuple<const char*, int, const char*> cases[] = {{"abc", 3, "abc"},
                                                             {"abcd", 3, "ab\u2026"},
                                                             {"\u4E2D\u6587", 4, "\u4E2D\u6587"},
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

}  // namespace
}  // namespace orvik::test
