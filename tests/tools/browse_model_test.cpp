#include "tools/orvikprefs/browse/model.h"

#include <unistd.h>

#include <algorithm>

#include "prefs/preferences.h"
#include "prefs/shared_lock.h"
#include "tests/support/test_environment.h"
#include "tools/orvikprefs/browse/tree.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::test {
namespace {

using namespace prefstool;
using namespace prefstool::browse;

constexpr const char16_t* kDomain = u"com.orviktech.Registry";

Value Json(const char* text) {
  TextError error;
  return ReadJson(text, &error);
}

std::string Text(const Value& value) {
  return value ? ValueText(value) : "(none)";
}

// The value at the path as text; "(none)" when there is none.
std::string Shown(const Model& model, const Path& path) {
  return Text(FindIn(model.tree(), path));
}

// A line for each: the path, and the value from before, of the other process, and of the user.
std::string Conflicts(const Model& model) {
  std::string text;
  for (const Conflict& conflict : model.conflicts()) {
    text += JoinedPath(conflict.path) + ": " + Text(conflict.before) + ", " + Text(conflict.there) +
            ", " + Text(conflict.wanted) + "\n";
  }
  return text;
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
  EXPECT_EQ(model.Set({"A", "B", "text"}, u"new"), "");
  EXPECT_EQ(model.Add({"A", "D"}, Value::Dictionary()), "");
  EXPECT_EQ(model.Remove({"A", "C"}), "");
  EXPECT_EQ(model.Move({"Z", "z"}, {"Z", "y"}), "");
  EXPECT_EQ(Rows(model), "*/-\n*.A-\n*..B\n+..D\n*.Z\n");
  EXPECT_EQ(model.changes().size(), 5u);
  EXPECT_EQ(Stored(u"A/B", u"text"), "one");

  // Refused, with nothing changed.
  EXPECT_NE(model.Add({"A", "B"}, u"x"), "");
  EXPECT_NE(model.Add({"A", "B", "text", "below"}, u"x"), "");
  EXPECT_NE(model.Move({"A"}, {"A", "B", "A"}), "");
  EXPECT_NE(model.Move({"Z", "y"}, {"A"}), "");
  EXPECT_NE(model.Remove({"none"}), "");
  EXPECT_NE(model.Set({}, u"x"), "");
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
  model.Set({"A", "B", "text"}, u"mine");
  model.Set({"Z", "z"}, u"mine");
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
  EXPECT_NE(model.Set(path, u"mine", began), "");
  EXPECT_EQ(Shown(model, path), "theirs");
  EXPECT_TRUE(model.changes().empty());
  EXPECT_EQ(Conflicts(model), "A/B/text: one, theirs, mine\n");
  // Still another value: the conflict shows it.
  Write(u"A/B", u"text", u"theirs again");
  model.Refresh();
  EXPECT_EQ(Conflicts(model), "A/B/text: one, theirs again, mine\n");
  // The newest wish of the user counts; a deletion is one.
  EXPECT_NE(model.Remove(path, began), "");
  EXPECT_EQ(Conflicts(model), "A/B/text: one, theirs again, (none)\n");
  EXPECT_EQ(model.Settle(path, true), "");
  EXPECT_EQ(Conflicts(model), "");
  EXPECT_EQ(Shown(model, path), "(none)");
  EXPECT_EQ(model.Undo(), "undo: take mine: /A/B/text");

  // Who edits the value of the other has decided; one that is the same as the other's is none.
  const Value second = model.At(path);
  EXPECT_EQ(model.Set(path, u"decided", second), "");
  EXPECT_EQ(Shown(model, path), "decided");
  EXPECT_EQ(model.Set(path, u"decided", second), "");
  EXPECT_TRUE(model.conflicts().empty());
}

// What waits as a conflict is taken back like any change.
TEST_F(BrowseModelTest, GivesUpConflictsToo) {
  Model model(0, kDomain);
  model.Set({"Z", "z"}, u"mine");
  Write(u"Z", u"z", u"theirs");
  model.Refresh();
  EXPECT_EQ(Conflicts(model), "Z/z: four, theirs, mine\n");
  EXPECT_EQ(model.Undo(), "undo: set /Z/z");
  EXPECT_EQ(model.waiting(), 0u);
  EXPECT_EQ(Shown(model, {"Z", "z"}), "theirs");
  EXPECT_EQ(model.Redo(), "cannot redo: another process has changed /Z/z since");

  model.Set({"A", "B", "text"}, u"mine");
  model.Set({"Z", "z"}, u"mine");
  Write(u"Z", u"z", u"theirs again");
  model.Refresh();
  EXPECT_EQ(model.waiting(), 2u);
  model.RevertAll();
  EXPECT_EQ(model.waiting(), 0u);
  EXPECT_EQ(model.Undo(), "undo: give up all changes");
  EXPECT_EQ(Shown(model, {"A", "B", "text"}), "mine");
  // A change of attributes is none of the file's content.
  fs::permissions(model.file(), fs::perms::owner_all);
  EXPECT_FALSE(model.Refresh());
}

// A key that comes or goes is one change and, in the list of changes, a line for each value.
TEST(BrowseChange, ShowsTheValuesOfAKeyLineByLine) {
  const Value key = Json(R"({"a":1,"b":{}})");
  const std::tuple<Value, Value, std::size_t> cases[] = {
      {{}, key, 2}, {key, {}, 2}, {key, u"value", 1}, {{}, Value::Dictionary(), 1}};
  for (const auto& [before, after, lines] : cases) {
    EXPECT_EQ(LinesOf({{"K"}, before, after}).size(), lines);
  }
}

TEST_F(BrowseModelTest, MarksEachRowForItself) {
  Model model(0, kDomain);
  model.Set({"Z", "list"}, Json("[0, 1, [2]]"));
  model.Set({"Z", "flat"}, Json("[0]"));
  ASSERT_TRUE(model.Apply().ok());
  const auto rows = [&](const Path& path) {
    EXPECT_TRUE(model.Reveal(path));
    std::string marks;
    for (const ValueRow& row : model.values()) marks += " *+~!"[static_cast<int>(row.mark)];
    return marks;
  };
  model.Set({"Z", "list", "1"}, u"new");
  model.Add({"Z", "list", "3"}, u"last");
  EXPECT_EQ(rows({"Z", "list", "0"}), " * +");
  EXPECT_EQ(rows({"Z", "flat", "0"}), " ");
  // Closed rows know whether they can be opened.
  const std::pair<const char*, bool> kKeys[] = {{"", true},      {"A", true},    {"Z", true},
                                                {"flat", false}, {"list", true}, {"2", false}};
  model.Reveal({"Z", "list", "2", "0"});
  for (const auto& [name, has_keys] : kKeys) {
    const auto is_row = [&](const KeyRow& row) { return row.name == name; };
    const auto row = std::find_if(model.keys().begin(), model.keys().end(), is_row);
    ASSERT_NE(row, model.keys().end()) << name;
    EXPECT_EQ(row->has_keys, has_keys) << name;
  }
  model.FocusValues(false);
  model.SelectKey(0);
  model.MoveBy(1);
  EXPECT_EQ(model.SelectedPath(), Path{"A"});
  model.TogglePick();
  EXPECT_EQ(model.picked(), std::vector<Path>{{"A"}});
  model.PickNone();
  EXPECT_TRUE(model.picked().empty());
  model.MoveBy(-2);
  EXPECT_TRUE(model.SelectedPath().empty());
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

  // After a deletion the next row is selected.
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

// An integer and a real of one value differ, at any depth; NaN equals itself.
TEST_F(BrowseModelTest, TakesValuesForTheSameOnlyIfTheyAreWrittenAlike) {
  Model model(0, kDomain);
  model.Set({"n"}, Json("1"));
  model.Set({"list"}, Json("[1]"));
  model.Set({"nan"}, Json(R"({"$real":"nan"})"));
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_TRUE(model.changes().empty());
  model.Remove({"n"});
  model.Add({"n"}, Json("1.0"));
  model.Set({"list"}, Json("[1.0]"));
  EXPECT_EQ(model.changes().size(), 2u);
  ASSERT_TRUE(model.Apply().ok());
  Model again(0, kDomain);
  EXPECT_EQ(Shown(again, {"n"}), "1.0");
  EXPECT_EQ(Shown(again, {"list"}), "[1.0]");
  // Such a change of another process is one, too.
  again.Set({"n"}, Json("2"));
  model.Set({"n"}, Json("1"));
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(again.Apply().error, PrefError::kConditionNotMet);
  EXPECT_EQ(again.conflicts().size(), 1u);
}

TEST_F(BrowseModelTest, ShowsAndChangesElementsOfArrays) {
  Model model(0, kDomain);
  model.Set({"Z", "list"}, Json(R"(["a", {"k": 1}, [2, 3]])"));
  ASSERT_TRUE(model.Apply().ok());
  ASSERT_TRUE(model.Reveal({"Z", "list", "1"}));
  EXPECT_EQ(Rows(model), " /-\n .A\n .Z-\n ..list-\n ...1\n ...2\n");
  ASSERT_TRUE(model.Reveal({"Z", "list", "2", "0"}));
  EXPECT_EQ(model.values().size(), 2u);
  EXPECT_EQ(model.Set({"Z", "list", "2", "0"}, u"x"), "");
  EXPECT_EQ(model.Set({"Z", "list", "1", "k"}, u"y"), "");
  EXPECT_EQ(model.Add({"Z", "list", "3"}, u"last"), "");
  EXPECT_EQ(model.Remove({"Z", "list", "0"}), "");
  EXPECT_EQ(Shown(model, {"Z", "list"}), R"([{"k":"y"},["x",3],"last"])");
  EXPECT_EQ(model.changes().size(), 1u);
  for (const char* none : {"3", "01", "-1", "x", ""}) {
    EXPECT_NE(model.Remove({"Z", "list", none}), "") << none;
  }
  for (const char* index : {"4", "x"}) {
    EXPECT_NE(model.Add({"Z", "list", index}, u"x"), "") << index;
    EXPECT_NE(model.Add({"Z", "list", index, "below"}, u"x"), "") << index;
  }
  EXPECT_NE(model.Move({"Z", "list", "0"}, {"Z", "moved"}), "");
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(Shown(Model(0, kDomain), {"Z", "list", "2"}), "last");
}

std::string Names(const Model& model) {
  std::string names;
  for (const ValueRow& value : model.values()) {
    (names += value.is_picked ? "#" : " ") += value.name;
  }
  return names;
}

TEST_F(BrowseModelTest, ShowsOnlyWhatTheFilterFinds) {
  Write(u"A/C/D", u"other", u"x");
  Write(u"Z/Deep", u"note", u"THREE");
  Model model(0, kDomain);
  model.SetFilter("three");
  EXPECT_EQ(Rows(model), " /-\n .A-\n ..C\n .Z-\n ..Deep\n");
  model.SelectKey(2);
  EXPECT_EQ(model.SelectedPath(), (Path{"A", "C"}));
  EXPECT_EQ(Names(model), " x");
  // A change of another process comes through the filter, and one of the user, too.
  Write(u"A/C", u"y", u"also three");
  ASSERT_TRUE(model.Refresh());
  EXPECT_EQ(Names(model), " x y");
  model.Set({"A", "C", "x"}, u"no more");
  EXPECT_EQ(Names(model), " y");
  // A key that matches is shown with everything in it.
  model.SetFilter("c");
  EXPECT_EQ(Rows(model), "*/-\n*.A-\n*..C\n");
  ASSERT_TRUE(model.Reveal({"A", "C", "D", "other"}));
  EXPECT_EQ(model.filter(), "c");
  // A hidden row cannot be selected.
  ASSERT_TRUE(model.Reveal({"Z", "z"}));
  EXPECT_EQ(model.filter(), "");
  EXPECT_EQ(model.SelectedPath(), (Path{"Z", "z"}));
  model.SetFilter("nowhere");
  EXPECT_EQ(Rows(model), "*/\n");
  EXPECT_TRUE(model.values().empty());
}

TEST_F(BrowseModelTest, OrdersByNameTypeAndSize) {
  Model model(0, kDomain);
  model.Set({"Z", "a"}, u"the longest of them");
  model.Set({"Z", "b"}, true);
  model.Reveal({"Z"});
  EXPECT_EQ(Names(model), " a b z");
  model.SetOrder(Order::kType);
  EXPECT_EQ(Names(model), " a z b");
  model.SetOrder(Order::kSize);
  EXPECT_EQ(Names(model), " a b z");  // 19, 8 and 4
  EXPECT_EQ(Rows(model), "*/-\n*.Z\n .A\n");
  EXPECT_EQ(model.SelectedPath(), Path{"Z"});
  // Names count, too: A, B, more, two, text, one, C, x, three.
  EXPECT_EQ(model.SizeOf(model.tree()),
            1u + 1 + 4 + 3 + 4 + 3 + 1 + 1 + 5 + 1 + 1 + 19 + 1 + 8 + 1 + 4);
  model.Set({"A", "C", "x"}, u"longer than everything else in the file");
  EXPECT_EQ(Rows(model), "*/-\n*.A\n*.Z\n");
}

TEST_F(BrowseModelTest, DeletesPickedRowsTogether) {
  Model model(0, kDomain);
  model.Set({"Z", "list"}, Json("[0,1,2,3,4,5,6,7,8,9,10]"));
  ASSERT_TRUE(model.Apply().ok());
  for (const Path& path : {Path{"Z", "list", "2"}, Path{"Z", "list", "10"}, Path{"A", "B", "text"},
                           Path{"A", "B"}, Path{"Z", "list", "3"}, Path{"Z", "list", "3"}}) {
    ASSERT_TRUE(model.Reveal(path));
    model.TogglePick();
  }
  EXPECT_EQ(model.picked().size(), 4u);
  EXPECT_EQ(Names(model).substr(0, 8), " 0 1#2 3");
  EXPECT_TRUE(model.keys()[2].is_picked);
  // A row that another process removes is picked no longer.
  DeletePreference(0, u"A/B", u"text", kDomain);
  model.Refresh();
  EXPECT_EQ(model.picked().size(), 3u);
  EXPECT_EQ(model.RemoveAll(model.picked()), "");
  EXPECT_EQ(Shown(model, {"Z", "list"}), "[0,1,3,4,5,6,7,8,9]");
  EXPECT_EQ(Shown(model, {"A", "B"}), "(none)");
  // An index that means another element now is picked no longer.
  EXPECT_TRUE(model.picked().empty());
  EXPECT_EQ(model.Undo(), "undo: delete 3 rows");
  EXPECT_TRUE(model.changes().empty());
  EXPECT_NE(model.RemoveAll({{"none"}, {}}), "");
}

TEST_F(BrowseModelTest, JumpsFromOneChangeToTheNext) {
  Model model(0, kDomain);
  EXPECT_FALSE(model.RevealChanged(1));
  model.Set({"A", "B", "text"}, u"mine");
  model.Remove({"A", "C"});
  Write(u"Z", u"z", u"theirs");
  model.Refresh();
  const auto jump = [&](int step) {
    EXPECT_TRUE(model.RevealChanged(step));
    return JoinedPath(model.SelectedPath());
  };
  // The removed key is shown as the one above it, and is not met again and again.
  for (const char* path : {"A/B/text", "A", "Z/z", "A/B/text"}) EXPECT_EQ(jump(1), path);
  for (const char* path : {"Z/z", "A", "A/B/text"}) EXPECT_EQ(jump(-1), path);
  model.Reveal({"Z", "z"});
  EXPECT_EQ(jump(1), "A/B/text");
}

TEST_F(BrowseModelTest, TakesUpWhatWasKept) {
  std::vector<Change> kept;
  {
    Model model(0, kDomain);
    model.Set({"A", "B", "text"}, u"mine");
    model.Remove({"A", "C"});
    model.Set({"Z", "z"}, u"wish");
    Write(u"Z", u"z", u"theirs");
    model.Refresh();
    kept = model.Unwritten();  // the conflict, too
  }
  ASSERT_EQ(kept.size(), 3u);
  Write(u"A/B", u"text", u"changed since");
  Model model(0, kDomain);
  model.Restore(std::move(kept));
  EXPECT_EQ(Shown(model, {"A", "C"}), "(none)");
  EXPECT_EQ(Shown(model, {"A", "B", "text"}), "changed since");
  EXPECT_EQ(Conflicts(model), "A/B/text: one, changed since, mine\nZ/z: four, theirs, wish\n");
  EXPECT_EQ(model.waiting(), 3u);
}

TEST_F(BrowseModelTest, WaitsForTheLockAsLongAsTheUserDoes) {
  using std::chrono::milliseconds;
  Model model(0, kDomain);
  model.Set({"Z", "z"}, u"mine");
  const OtherProcess holder([] { LockGlobalSharedPList(kDomain); });
  EXPECT_NE(model.LockHolder(), "");
  int asked = 0;
  const auto never = [&](milliseconds) { return ++asked < 3; };
  EXPECT_EQ(model.Apply(milliseconds(60'000), never).error, PrefError::kLockNotObtained);
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(model.Apply(milliseconds(0), never).error, PrefError::kLockNotObtained);
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(model.changes().size(), 1u);
  const auto released = [](milliseconds) {
    UnlockGlobalSharedPList(kDomain);
    return true;
  };
  EXPECT_TRUE(model.Apply(milliseconds(60'000), released).ok());
  EXPECT_EQ(Stored(u"Z", u"z"), "mine");
  EXPECT_EQ(model.LockHolder(), "");
}

TEST_F(BrowseModelTest, FindsTheSamePathElsewhere) {
  EXPECT_EQ(WritePreferenceString(1, u"Z", u"z", u"of the user", u"com.other"), 0u);
  const std::vector<Place> places = PlacesWith({"Z", "z"});
  ASSERT_EQ(places.size(), 2u);
  EXPECT_EQ(places[0].scope, 0);
  EXPECT_EQ(ValueText(places[0].value), "four");
  EXPECT_EQ(places[1].scope, 1);
  EXPECT_EQ(places[1].domain, CAtlString(u"com.other"));
  EXPECT_TRUE(PlacesWith({"Z", "none"}).empty());
}

// In an array a row that comes in above gives every element behind it another index.
TEST_F(BrowseModelTest, LosesTheSelectionInAnArrayThatAnotherProcessChanges) {
  Model other(0, kDomain);
  other.Set({"Z", "list"}, Json(R"(["a", ["b"]])"));
  ASSERT_TRUE(other.Apply().ok());
  for (const Path& path : {Path{"Z", "list", "0"}, Path{"Z", "list", "1", "0"}}) {
    Model model(0, kDomain);
    ASSERT_TRUE(model.Reveal(path));
    other.Set({"Z", "z"}, path.size() == 3 ? u"1" : u"2");
    ASSERT_TRUE(other.Apply().ok());
    ASSERT_TRUE(model.Refresh());
    EXPECT_FALSE(model.is_gone());
    other.Add({"Z", "list", std::to_string(path.size() - 1)}, u"new");
    ASSERT_TRUE(other.Apply().ok());
    ASSERT_TRUE(model.Refresh());
    EXPECT_TRUE(model.is_gone());
    model.Set({"A", "B", "text"}, u"mine");
    EXPECT_TRUE(model.is_gone());
    model.MoveBy(0);
    EXPECT_FALSE(model.is_gone());
  }
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

TEST_F(BrowseModelTest, CarriesChangesOverToWhatOthersWrite) {
  Model model(0, kDomain);
  model.Set({"A", "B", "text"}, u"mine");
  model.Set({"Z", "z"}, u"mine too");
  model.Reveal({"A", "B"});
  Write(u"A/C", u"x", u"theirs");
  Write(u"Z", u"z", u"theirs too");
  EXPECT_TRUE(model.Refresh());
  EXPECT_EQ(Rows(model), "!/-\n*.A-\n*..B\n~..C\n!.Z\n");
  EXPECT_EQ(Shown(model, {"A", "B", "text"}), "mine");
  EXPECT_EQ(Shown(model, {"A", "C", "x"}), "theirs");
  EXPECT_EQ(Conflicts(model), "Z/z: four, theirs too, mine too\n");
  model.Settle({"Z", "z"}, true);
  EXPECT_EQ(Shown(model, {"Z", "z"}), "mine too");
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_EQ(Stored(u"Z", u"z"), "mine too");
  EXPECT_EQ(Stored(u"A/C", u"x"), "theirs");
}

// The file changes between the last look and the writing.
TEST_F(BrowseModelTest, NeverOverwritesWhatAnotherProcessWroteMeanwhile) {
  Model model(0, kDomain);
  model.Set({"A", "B", "text"}, u"mine");
  model.Set({"A", "B", "more"}, u"mine");
  model.Remove({"A", "C"});
  model.Copy({"A", "B"}, {"a/b\\c", "B"});
  Write(u"A/B", u"text", u"theirs");
  EXPECT_EQ(model.Apply().error, PrefError::kConditionNotMet);
  EXPECT_EQ(Stored(u"A/B", u"text"), "theirs");
  EXPECT_EQ(Stored(u"A/B", u"more"), "two");
  EXPECT_EQ(Conflicts(model), "A/B/text: one, theirs, mine\n");
  model.Settle({"A", "B", "text"}, false);
  ASSERT_TRUE(model.Apply().ok());
  EXPECT_TRUE(model.changes().empty());
  const Model again(0, kDomain);
  EXPECT_EQ(Shown(again, {"A", "B", "text"}), "theirs");
  EXPECT_EQ(Shown(again, {"A", "B", "more"}), "mine");
  EXPECT_EQ(Shown(again, {"A", "C"}), "(none)");
  EXPECT_EQ(Shown(again, {"a/b\\c", "B", "text"}), "mine");
}

TEST_F(BrowseModelTest, SaysWhatIsWrongWithTheFile) {
  Model model(0, kDomain);
  const std::string file = model.file();
  model.Set({"Z", "z"}, u"mine");
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
  // A path that is shown can be typed.
  for (const Path& path : {Path{"A", "B"}, Path{"a/b\\c", "line\nbreak", ""}, Path{}}) {
    EXPECT_EQ(TypedPath(ShownPath(path)), path);
  }
}

}  // namespace
}  // namespace orvik::test
