#include "tools/orvikprefs/browse/model.h"

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

// A line for each: the path, and the old value, the other process's and the user's.
std::string Conflicts(const Model& model) {
  std::string text;
  for (const Conflict& conflict : model.conflicts()) {
    text += JoinedPath(conflict.path) + ": " + Text(conflict.before) + ", " + Text(conflict.there) +
            ", " + Text(conflict.wanted) + "\n";
  }
  return text;
}

// The rows of keys as lines of "mark depth name".
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

// Sets a value as a user does who sees the present one.
std::string Set(Model& model, const Path& path, const Value& value) {
  return model.Set(path, value, model.At(path));
}
std::string Remove(Model& model, const Path& path) {
  return Set(model, path, {});
}

std::string Names(const Model& model) {
  std::string names;
  for (const ValueRow& value : model.values()) {
    (names += value.is_picked ? "#" : " ") += value.name;
  }
  return names;
}

class BrowseModelTest : public EnvironmentTest {
 protected:
  BrowseModelTest() {
    Write(u"A/B", u"text", u"one");
    Write(u"A/B", u"more", u"two");
    Write(u"A/C", u"x", u"three");
    Write(u"Z", u"z", u"four");
    model_.emplace(0, kDomain);
  }

  // Writes like another process; the file's time always differs.
  static void Write(const char16_t* key, const char16_t* name, const char16_t* value) {
    EXPECT_EQ(WritePreferenceString(0, key, name, value, kDomain), 0u);
  }
  static std::string Stored(const char16_t* key, const char16_t* name) {
    unsigned long error = 0;
    const CAtlString value = GetPreferenceString(0, key, name, u"(none)", &error, kDomain);
    return prefstool::ToUtf8(value);
  }
  // The value at the path as text; "(none)" when it does not exist.
  std::string Shown(const Path& path) const { return Text(FindIn(model_->tree(), path)); }

  std::optional<Model> model_;
};

TEST_F(BrowseModelTest, OpensKeysAndKeepsTheSelection) {
  EXPECT_EQ(Rows(*model_), " /-\n .A\n .Z\n");
  model_->Open(1, true);
  EXPECT_EQ(Rows(*model_), " /-\n .A-\n ..B\n ..C\n .Z\n");
  ASSERT_TRUE(model_->Reveal({"A", "B", "text"}));
  EXPECT_EQ(model_->SelectedPath(), (Path{"A", "B", "text"}));
  EXPECT_FALSE(model_->Reveal({"A", "none"}));
  EXPECT_EQ(model_->PathOf(model_->selected_key()), (Path{"A", "B"}));
  model_->Open(1, false);  // above the selected key
  EXPECT_EQ(model_->PathOf(model_->selected_key()), Path{"A"});
  model_->SelectKey(99);
  EXPECT_EQ(model_->PathOf(model_->selected_key()), Path{"Z"});
}

TEST_F(BrowseModelTest, CollectsMarksAndUndoesChanges) {
  model_->Reveal({"A", "B"});
  EXPECT_EQ(Set(*model_, {"A", "B", "text"}, u"new"), "");
  EXPECT_EQ(model_->Add({"A", "D"}, Value::Dictionary()), "");
  EXPECT_EQ(Remove(*model_, {"A", "C"}), "");
  EXPECT_EQ(model_->Move({"Z", "z"}, {"Z", "y"}), "");
  EXPECT_EQ(Rows(*model_), "*/-\n*.A-\n*..B\n+..D\n*.Z\n");
  EXPECT_EQ(Stored(u"A/B", u"text"), "one");

  // Refused, without a change.
  EXPECT_NE(model_->Add({"A", "B"}, u"x"), "");
  EXPECT_NE(model_->Add({"A", "B", "text", "below"}, u"x"), "");
  EXPECT_NE(model_->Move({"A"}, {"A", "B", "A"}), "");
  EXPECT_NE(model_->Move({"Z", "y"}, {"A"}), "");
  EXPECT_NE(Remove(*model_, {"none"}), "");
  EXPECT_NE(Set(*model_, {}, u"x"), "");
  EXPECT_NE(model_->Copy({"A"}, {"Z"}), "");
  EXPECT_EQ(model_->changes().size(), 5u);

  // One by one: the removal of the key C is undone with its value.
  model_->Revert({"A", "C"});
  EXPECT_EQ(Shown({"A", "C", "x"}), "three");
  EXPECT_EQ(model_->changes().size(), 4u);
  EXPECT_EQ(model_->Undo(), "undo: give up /A/C");
  EXPECT_EQ(model_->Undo(), "undo: move /Z/z to /Z/y");
  EXPECT_EQ(Shown({"Z", "z"}), "four");
  EXPECT_EQ(model_->Redo(), "redo: move /Z/z to /Z/y");
  for (const char* undone : {"undo: move /Z/z to /Z/y", "undo: delete /A/C", "undo: add /A/D",
                             "undo: set /A/B/text", "nothing to undo"}) {
    EXPECT_EQ(model_->Undo(), undone);
  }
  EXPECT_TRUE(model_->changes().empty());
  EXPECT_EQ(model_->Redo(), "redo: set /A/B/text");
  EXPECT_EQ(Shown({"A", "B", "text"}), "new");
  Remove(*model_, {"Z"});
  EXPECT_EQ(model_->Redo(), "nothing to redo");
}

// The value changes while its line, or the question about its deletion, is open.
TEST_F(BrowseModelTest, MakesAConflictOfAValueThatChangedWhileItWasEdited) {
  const Path path = {"A", "B", "text"};
  const Value began = model_->At(path);
  Write(u"A/B", u"text", u"theirs");
  ASSERT_TRUE(model_->Refresh());
  EXPECT_NE(model_->Set(path, u"mine", began), "");
  EXPECT_EQ(Shown(path), "theirs");
  EXPECT_TRUE(model_->changes().empty());
  // A third value: the conflict shows it.
  Write(u"A/B", u"text", u"theirs again");
  model_->Refresh();
  EXPECT_EQ(Conflicts(*model_), "A/B/text: one, theirs again, mine\n");
  // The user's newest value counts, also a deletion.
  EXPECT_NE(model_->Remove(path, began), "");
  EXPECT_EQ(Conflicts(*model_), "A/B/text: one, theirs again, (none)\n");
  EXPECT_EQ(model_->Settle(path, true), "");
  EXPECT_EQ(Conflicts(*model_), "");
  EXPECT_EQ(Shown(path), "(none)");
  EXPECT_EQ(model_->Undo(), "undo: take mine: /A/B/text");

  // An edit of the other process's value settles the conflict; an edit to that value makes none.
  const Value second = model_->At(path);
  EXPECT_EQ(model_->Set(path, u"decided", second), "");
  EXPECT_EQ(model_->Set(path, u"decided", second), "");
  EXPECT_EQ(Shown(path), "decided");
  EXPECT_TRUE(model_->conflicts().empty());
}

// Undo stores values, not versions of the file: it works after changes of others and after a write,
// and also undoes conflicts.
TEST_F(BrowseModelTest, UndoesWhatOthersLeftAloneAndWhatWasWritten) {
  Set(*model_, {"A", "B", "text"}, u"mine");
  Set(*model_, {"Z", "z"}, u"mine");
  Write(u"A/B", u"more", u"theirs");
  ASSERT_TRUE(model_->Refresh());
  EXPECT_EQ(model_->Undo(), "undo: set /Z/z");
  EXPECT_EQ(Shown({"Z", "z"}), "four");
  EXPECT_EQ(Shown({"A", "B", "more"}), "theirs");
  EXPECT_EQ(model_->Redo(), "redo: set /Z/z");
  ASSERT_TRUE(model_->Apply().ok());
  Write(u"Z", u"z", u"theirs");
  model_->Refresh();
  EXPECT_EQ(model_->Undo(), "cannot undo: another process has changed /Z/z since");
  EXPECT_EQ(model_->Undo(), "undo: set /A/B/text");
  Set(*model_, {"Z", "z"}, u"mine");
  Write(u"Z", u"z", u"theirs again");
  model_->Refresh();
  EXPECT_EQ(model_->waiting(), 2u);
  EXPECT_EQ(model_->Undo(), "undo: set /Z/z");
  EXPECT_EQ(model_->waiting(), 1u);
  EXPECT_EQ(model_->Redo(), "cannot redo: another process has changed /Z/z since");
  model_->RevertAll();
  EXPECT_EQ(model_->waiting(), 0u);
  EXPECT_EQ(model_->Undo(), "undo: give up all changes");
  EXPECT_EQ(Shown({"A", "B", "text"}), "one");
  // A change of attributes does not change the file's content.
  fs::permissions(model_->file(), fs::perms::owner_all);
  EXPECT_FALSE(model_->Refresh());
}

// An added or removed key is one change and, in the list of changes, a line for each value.
TEST(BrowseChange, ShowsTheValuesOfAKeyLineByLine) {
  const Value key = Json(R"({"a":1,"b":{}})");
  const std::tuple<Value, Value, std::size_t> cases[] = {
      {{}, key, 2}, {key, {}, 2}, {key, u"value", 1}, {{}, Value::Dictionary(), 1}};
  for (const auto& [before, after, lines] : cases) {
    EXPECT_EQ(LinesOf({{"K"}, before, after}).size(), lines);
  }
}

TEST_F(BrowseModelTest, MarksEachRowForItself) {
  Set(*model_, {"Z", "list"}, Json("[0, 1, [2]]"));
  Set(*model_, {"Z", "flat"}, Json("[0]"));
  ASSERT_TRUE(model_->Apply().ok());
  Set(*model_, {"Z", "list", "1"}, u"new");
  model_->Add({"Z", "list", "3"}, u"last");
  EXPECT_TRUE(model_->Reveal({"Z", "list", "2", "0"}));
  EXPECT_TRUE(model_->Reveal({"Z", "list", "0"}));
  std::string marks, openable;
  for (const ValueRow& row : model_->values()) marks += " *+~!"[static_cast<int>(row.mark)];
  EXPECT_EQ(marks, " * +");
  // Closed rows show whether they can be opened.
  for (const KeyRow& row : model_->keys()) openable += row.has_keys ? row.name + "," : "";
  EXPECT_EQ(openable, ",A,Z,list,");
  EXPECT_EQ(model_->keys().size(), 6u);
  model_->FocusValues(false);
  model_->SelectKey(0);
  model_->MoveBy(1);
  EXPECT_EQ(model_->SelectedPath(), Path{"A"});
  model_->TogglePick();
  EXPECT_EQ(model_->picked(), std::vector<Path>{{"A"}});
  model_->PickNone();
  EXPECT_TRUE(model_->picked().empty());
  model_->MoveBy(-2);
  EXPECT_TRUE(model_->SelectedPath().empty());
}

// A key is added above, the selected one is removed and added again.
TEST_F(BrowseModelTest, KeepsTheSelectionByName) {
  ASSERT_TRUE(model_->Reveal({"A", "B", "text"}));
  Write(u"A/A", u"x", u"new key above");
  Write(u"A/B", u"a", u"new value above");
  ASSERT_TRUE(model_->Refresh());
  EXPECT_EQ(model_->PathOfValue(model_->selected_value()), (Path{"A", "B", "text"}));
  EXPECT_EQ(model_->PathOf(model_->selected_key()), (Path{"A", "B"}));
  model_->MoveBy(-1);
  EXPECT_EQ(model_->SelectedPath(), (Path{"A", "B", "more"}));

  for (const auto& [key, name] : {std::pair(u"A/B", u"more"), {u"A", u"B"}}) {
    EXPECT_EQ(DeletePreference(0, key, name, kDomain), 0u);
    ASSERT_TRUE(model_->Refresh());
    EXPECT_TRUE(model_->is_gone());
    EXPECT_EQ(model_->SelectedPath(), (Path{"A", "B", "more"}));
    EXPECT_NE(Remove(*model_, model_->SelectedPath()), "");
    EXPECT_TRUE(model_->changes().empty());
  }
  Write(u"A/B", u"more", u"back");
  ASSERT_TRUE(model_->Refresh());
  EXPECT_FALSE(model_->is_gone());
  EXPECT_EQ(model_->PathOfValue(model_->selected_value()), (Path{"A", "B", "more"}));
  DeletePreference(0, u"A/B", u"more", kDomain);
  model_->Refresh();
  model_->FocusValues(false);
  EXPECT_FALSE(model_->is_gone());

  // After a deletion the next row is selected.
  Write(u"A/B", u"b", u"");
  Write(u"A/B", u"c", u"");
  model_->Refresh();
  ASSERT_TRUE(model_->Reveal({"A", "B", "b"}));
  Remove(*model_, {"A", "B", "b"});
  EXPECT_EQ(model_->SelectedPath(), (Path{"A", "B", "c"}));
  model_->Undo();
  EXPECT_EQ(model_->SelectedPath(), (Path{"A", "B", "b"}));
  model_->Redo();
  EXPECT_EQ(model_->SelectedPath(), (Path{"A", "B"}));
}

TEST_F(BrowseModelTest, ShowsAndChangesElementsOfArrays) {
  Set(*model_, {"Z", "list"}, Json(R"(["a", {"k": 1}, [2, 3]])"));
  ASSERT_TRUE(model_->Apply().ok());
  ASSERT_TRUE(model_->Reveal({"Z", "list", "1"}));
  EXPECT_EQ(Rows(*model_), " /-\n .A\n .Z-\n ..list-\n ...1\n ...2\n");
  ASSERT_TRUE(model_->Reveal({"Z", "list", "2", "0"}));
  EXPECT_EQ(model_->values().size(), 2u);
  EXPECT_EQ(Set(*model_, {"Z", "list", "2", "0"}, u"x"), "");
  EXPECT_EQ(Set(*model_, {"Z", "list", "1", "k"}, u"y"), "");
  EXPECT_EQ(model_->Add({"Z", "list", "3"}, u"last"), "");
  EXPECT_EQ(Remove(*model_, {"Z", "list", "0"}), "");
  EXPECT_EQ(Shown({"Z", "list"}), R"([{"k":"y"},["x",3],"last"])");
  EXPECT_EQ(model_->changes().size(), 1u);
  for (const char* none : {"3", "01", "-1", ""}) {
    EXPECT_NE(Remove(*model_, {"Z", "list", none}), "") << none;
  }
  EXPECT_NE(model_->Add({"Z", "list", "4"}, u"x"), "");
  EXPECT_NE(model_->Add({"Z", "list", "x", "below"}, u"x"), "");
  EXPECT_NE(model_->Move({"Z", "list", "0"}, {"Z", "moved"}), "");
  ASSERT_TRUE(model_->Apply().ok());
  EXPECT_EQ(Text(FindIn(Model(0, kDomain).tree(), {"Z", "list", "2"})), "last");
}

TEST_F(BrowseModelTest, ShowsOnlyWhatTheFilterFinds) {
  Write(u"A/C/D", u"other", u"x");
  Write(u"Z/Deep", u"note", u"THREE");
  Model model(0, kDomain);
  model.SetFilter("three");
  EXPECT_EQ(Rows(model), " /-\n .A-\n ..C\n .Z-\n ..Deep\n");
  model.SelectKey(2);
  EXPECT_EQ(Names(model), " x");
  // A change of another process passes the filter, and a change of the user, too.
  Write(u"A/C", u"y", u"also three");
  ASSERT_TRUE(model.Refresh());
  EXPECT_EQ(Names(model), " x y");
  Set(model, {"A", "C", "x"}, u"no more");
  EXPECT_EQ(Names(model), " y");
  // A key that matches is shown with everything in it.
  model.SetFilter("c");
  EXPECT_EQ(Rows(model), "*/-\n*.A-\n*..C\n");
  ASSERT_TRUE(model.Reveal({"A", "C", "D", "other"}));
  EXPECT_EQ(model.filter(), "c");
  // To select a hidden row, the filter is removed.
  ASSERT_TRUE(model.Reveal({"Z", "z"}));
  EXPECT_EQ(model.filter(), "");
  EXPECT_EQ(model.SelectedPath(), (Path{"Z", "z"}));
  model.SetFilter("nowhere");
  EXPECT_EQ(Rows(model), "*/\n");
  EXPECT_TRUE(model.values().empty());
}

TEST_F(BrowseModelTest, OrdersByNameTypeAndSize) {
  Set(*model_, {"Z", "a"}, u"the longest of them");
  Set(*model_, {"Z", "b"}, true);
  model_->Reveal({"Z"});
  EXPECT_EQ(Names(*model_), " a b z");
  model_->SetOrder(Order::kType);
  EXPECT_EQ(Names(*model_), " a z b");
  model_->SetOrder(Order::kSize);
  EXPECT_EQ(Names(*model_), " a b z");  // 19, 8 and 4
  EXPECT_EQ(Rows(*model_), "*/-\n*.Z\n .A\n");
  EXPECT_EQ(model_->SelectedPath(), Path{"Z"});
  // Names count, too: A, B, more, two, text, one, C, x, three.
  EXPECT_EQ(model_->SizeOf(model_->tree()),
            1u + 1 + 4 + 3 + 4 + 3 + 1 + 1 + 5 + 1 + 1 + 19 + 1 + 8 + 1 + 4);
  Set(*model_, {"A", "C", "x"}, u"longer than everything else in the file");
  EXPECT_EQ(Rows(*model_), "*/-\n*.A\n*.Z\n");
}

TEST_F(BrowseModelTest, DeletesPickedRowsTogether) {
  Set(*model_, {"Z", "list"}, Json("[0,1,2,3,4,5,6,7,8,9,10]"));
  ASSERT_TRUE(model_->Apply().ok());
  for (const Path& path : {Path{"Z", "list", "2"}, Path{"Z", "list", "10"}, Path{"A", "B", "text"},
                           Path{"A", "B"}, Path{"Z", "list", "3"}, Path{"Z", "list", "3"}}) {
    ASSERT_TRUE(model_->Reveal(path));
    model_->TogglePick();
  }
  EXPECT_EQ(Names(*model_).substr(0, 8), " 0 1#2 3");
  EXPECT_TRUE(model_->keys()[2].is_picked);
  EXPECT_EQ(model_->picked().size(), 4u);
  // A row that another process removes is unpicked.
  DeletePreference(0, u"A/B", u"text", kDomain);
  model_->Refresh();
  EXPECT_EQ(model_->picked().size(), 3u);
  EXPECT_EQ(model_->RemoveAll(model_->picked()), "");
  EXPECT_EQ(Shown({"Z", "list"}), "[0,1,3,4,5,6,7,8,9]");
  EXPECT_EQ(Shown({"A", "B"}), "(none)");
  // An index that now belongs to another element is unpicked.
  EXPECT_TRUE(model_->picked().empty());
  EXPECT_EQ(model_->Undo(), "undo: delete 3 rows");
  EXPECT_TRUE(model_->changes().empty());
  EXPECT_NE(model_->RemoveAll({{"none"}, {}}), "");
}

TEST_F(BrowseModelTest, JumpsFromOneChangeToTheNext) {
  EXPECT_FALSE(model_->RevealChanged(1));
  Set(*model_, {"A", "B", "text"}, u"mine");
  Remove(*model_, {"A", "C"});
  Write(u"Z", u"z", u"theirs");
  model_->Refresh();
  // For the removed key its parent is selected; the next jump continues after it.
  for (const auto& [step, path] :
       {std::pair(1, "A/B/text"), {1, "A"}, {1, "Z/z"}, {1, "A/B/text"}, {-1, "Z/z"}, {-1, "A"}}) {
    EXPECT_TRUE(model_->RevealChanged(step));
    EXPECT_EQ(JoinedPath(model_->SelectedPath()), path);
  }
  model_->Reveal({"Z", "z"});
  EXPECT_TRUE(model_->RevealChanged(1));
  EXPECT_EQ(JoinedPath(model_->SelectedPath()), "A/B/text");
}

TEST_F(BrowseModelTest, WaitsForTheLockAsLongAsTheUserDoes) {
  using std::chrono::milliseconds;
  Set(*model_, {"Z", "z"}, u"mine");
  const OtherProcess holder([] { LockGlobalSharedPList(kDomain); });
  int asked = 0;
  const auto three_times = [&](milliseconds) {
    if (++asked == 3) UnlockGlobalSharedPList(kDomain);
    return asked < 2 || asked == 3;
  };
  EXPECT_EQ(model_->Apply(milliseconds(0), three_times).error, PrefError::kLockNotObtained);
  EXPECT_EQ(asked, 0);
  EXPECT_EQ(model_->Apply(milliseconds(60'000), three_times).error, PrefError::kLockNotObtained);
  EXPECT_EQ(asked, 2);
  EXPECT_TRUE(model_->Apply(milliseconds(60'000), three_times).ok());
  EXPECT_EQ(Stored(u"Z", u"z"), "mine");
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

// A new element in front gives every later element of an array another index.
TEST_F(BrowseModelTest, LosesTheSelectionInAnArrayThatAnotherProcessChanges) {
  Set(*model_, {"Z", "list"}, Json(R"(["a", ["b"]])"));
  ASSERT_TRUE(model_->Apply().ok());
  for (const Path& path : {Path{"Z", "list", "0"}, Path{"Z", "list", "1", "0"}}) {
    Model model(0, kDomain);
    ASSERT_TRUE(model.Reveal(path));
    Write(u"Z", u"z", path.size() == 3 ? u"1" : u"2");
    ASSERT_TRUE(model.Refresh());
    EXPECT_FALSE(model.is_gone());
    model_->Refresh();
    model_->Add({"Z", "list", std::to_string(path.size() - 1)}, u"new");
    ASSERT_TRUE(model_->Apply().ok());
    ASSERT_TRUE(model.Refresh());
    EXPECT_TRUE(model.is_gone());
    model.MoveBy(0);
    EXPECT_FALSE(model.is_gone());
  }
}

// The file changes before the next check, and between the last check and the writing.
TEST_F(BrowseModelTest, CarriesChangesOverAndNeverOverwritesWhatOthersWrite) {
  Set(*model_, {"A", "B", "text"}, u"mine");
  Set(*model_, {"A", "B", "more"}, u"mine");
  Set(*model_, {"Z", "z"}, u"mine too");
  model_->Copy({"A", "B"}, {"a/b\\c", "B"});
  model_->Reveal({"A", "B"});
  Write(u"A/C", u"x", u"theirs");
  Write(u"Z", u"z", u"theirs too");
  EXPECT_TRUE(model_->Refresh());
  EXPECT_EQ(Rows(*model_), "!/-\n*.A-\n*..B\n~..C\n!.Z\n+.a/b\\c\n");
  EXPECT_EQ(Conflicts(*model_), "Z/z: four, theirs too, mine too\n");
  model_->Settle({"Z", "z"}, true);
  Write(u"A/B", u"text", u"theirs");
  EXPECT_EQ(model_->Apply().error, PrefError::kConditionNotMet);
  EXPECT_EQ(Stored(u"A/B", u"text"), "theirs");
  EXPECT_EQ(Stored(u"A/B", u"more"), "two");
  EXPECT_EQ(Conflicts(*model_), "A/B/text: one, theirs, mine\n");
  Model other(0, kDomain);
  other.Restore(model_->Unwritten());  // with the conflict
  EXPECT_EQ(Conflicts(other), Conflicts(*model_));
  EXPECT_EQ(other.waiting(), model_->waiting());
  model_->Settle({"A", "B", "text"}, false);
  ASSERT_TRUE(model_->Apply().ok());
  EXPECT_TRUE(model_->changes().empty());
  EXPECT_EQ(Text(Model(0, kDomain).tree()),
            R"({"A":{"B":{"more":"mine","text":"theirs"},"C":{"x":"theirs"}},)"
            R"("Z":{"z":"mine too"},"a/b\\c":{"B":{"more":"mine","text":"mine"}}})");
}

TEST_F(BrowseModelTest, SaysWhatIsWrongWithTheFile) {
  Set(*model_, {"Z", "z"}, u"mine");
  WriteFile(model_->file(), "<plist><dict><key>");
  EXPECT_TRUE(model_->Refresh());
  EXPECT_EQ(model_->status().error, PrefError::kDamaged);
  EXPECT_EQ(Shown({"A", "C", "x"}), "three");
  fs::remove(model_->file());
  EXPECT_TRUE(model_->Refresh());
  EXPECT_EQ(model_->status().error, PrefError::kNotFound);
  EXPECT_EQ(model_->conflicts().size(), 1u);
  EXPECT_FALSE(model_->Refresh());
}

TEST_F(BrowseModelTest, CompletesPaths) {
  Write(u"Software/Orvik", u"x", u"");
  Write(u"Software/Orvik Two", u"x", u"");
  const Model model(0, kDomain);
  const std::pair<const char*, const char*> cases[] = {
      {"/So", "/Software/"},
      {"/", "/"},
      {"/Software/", "/Software/Orvik"},
      {"/none/x", "/none/x"},
      {"A/B/t", "A/B/text"},
      {"/Software/Orvik", "/Software/Orvik"},
      {"/Software/Orvik ", "/Software/Orvik Two/"}};
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
