// The rows of the browser over a draft: keys and values, which are open, which is selected,
// with no terminal in it.
//
// The selection is a path, not a row: a row that another process adds or removes moves it nowhere.
// When its own row goes, the path stays selected, as one that is gone, until the user moves. So it
// does when an array changes that it leads into, where names are but indices.
// Rows are valid until the next call that is not const.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "tools/orvikprefs/browse/draft.h"

namespace orvik::prefstool::browse {

// How a row differs from the file as it was first read. Of several a conflict counts first, then an
// addition, a change of the user's, and one of another process.
enum class Mark {
  kNone,
  kChanged,   // by the user: the value, or something below the key
  kAdded,     // by the user
  kByOthers,  // changed in the file since it was read before
  kConflict,  // the user's change and another process's meet here or below
};

// kName is the order of the names' UTF-16 units, and among rows that another order finds equal.
// Elements of arrays keep the order of their indices.
enum class Order { kName, kType, kSize };

// A row on the left: a dictionary or an array that is shown.
struct KeyRow {
  int parent;  // row of the key above; -1 for the domain itself, the first row
  int depth;
  std::string name;  // "" for the domain itself
  Value node;
  bool is_open;
  bool has_keys;   // something can be opened: other dictionaries or arrays, as far as the filter
                   // shows
  bool is_picked;  // by the user, for a deletion
  Mark mark;
};

// A row on the right: an entry of a dictionary that is not a dictionary, or any element of an
// array.
struct ValueRow {
  std::string name;
  Value value;
  bool is_picked;
  Mark mark;
};

// Every change of the draft, the filter or the order builds the rows anew; the selection and what
// is open are kept by path.
class Model : public Draft {
 public:
  // Reads the domain. Only its top level is open.
  Model(int scope, CAtlString domain);

  // Keys from the domain down, as far as they are open.
  const std::vector<KeyRow>& keys() const { return keys_; }
  const std::vector<ValueRow>& values() const { return values_; }  // of the selected key
  // The path of a row, which must exist.
  Path PathOf(int key_row) const;
  Path PathOfValue(int value_row) const;

  int selected_key() const { return selected_key_; }
  int selected_value() const { return selected_value_; }
  void SelectKey(int row);    // clamped
  void SelectValue(int row);  // clamped
  // Whether the user is among the values of the selected key.
  bool on_values() const { return on_values_; }
  void FocusValues(bool on_values) { on_values_ = on_values; }
  // Moves the selection down on the side where the user is, or up for a negative number; clamped.
  void MoveBy(int rows);

  // The target of an action: the selected key, or the value when the user is among the values.
  const Path& selected_key_path() const { return key_path_; }
  Path SelectedPath() const;
  // Another process removed it, or changed the array that it is an element of: then the path may
  // lead to another element. Nothing may be done to it before the user has selected again.
  bool is_gone() const { return key_gone_ || element_gone_ || (on_values_ && value_gone_); }

  // Opens or closes a key. It stays so when it goes and comes back.
  void Open(int key_row, bool open);
  // Opens what is above the key or value and selects it. False when there is none.
  bool Reveal(const Path& path);
  // Selects the next (1) or previous (-1) path that the user or another process changed; what is
  // above one that was removed. False when there is none.
  bool RevealChanged(int step);
  // The same, or of what is above it the deepest that exists.
  void RevealNearest(Path path);

  // Shows only what has the text in its name or value, in any case, and what lies above or below
  // it. "" shows everything.
  void SetFilter(std::string text);
  const std::string& filter() const { return filter_; }
  // The index of the tree as it is now, made when it is first asked for after a change. Valid until
  // the next call that is not const.
  const SearchIndex& index();

  // Values by name, by type or by size; keys by name or by size. The largest come first.
  void SetOrder(Order order);
  Order order() const { return order_; }
  std::size_t SizeOf(const Value& value) { return browse::SizeOf(value, sizes_); }

  // Picks the selected row for a deletion, or gives it up. Rows that go are picked no longer;
  // neither are elements of arrays whose index comes to mean another value.
  void TogglePick();
  void PickNone();
  std::vector<Path> picked() const;  // in the order of the paths

 private:
  void Changed(Cause cause) override { Rebuild(cause); }
  void Touched(const Path& path) override { RevealNearest(path); }
  void Rebuild(Cause cause);
  void BuildKeys();
  void SelectAgain(Cause cause);
  void FillValues();
  void UpdateFilter();
  // Whether the key, or one above it, has the text of the filter.
  bool IsInHit(const Path& key) const;
  void Sort(std::vector<Child>& children, bool by_type);
  // The deepest row on the way to the key that is shown.
  int NearestRow(const Path& key) const;
  std::optional<std::string> ArrayAbove(const Path& path) const;
  Mark MarkOf(const std::string& joined, const Value& was, const Value& now) const;

  std::vector<KeyRow> keys_;
  std::vector<ValueRow> values_;
  int selected_key_ = 0;
  int selected_value_ = 0;
  bool on_values_ = false;
  Path key_path_;
  std::string value_name_;  // counts when there are values
  bool key_gone_ = false;
  bool value_gone_ = false;
  bool element_gone_ = false;
  std::string filter_;
  Order order_ = Order::kName;
  KnownSizes sizes_;
  std::map<Path, Value> picked_;  // with what was there: an index may come to mean another element
  std::unique_ptr<SearchIndex> index_;
  std::size_t index_version_ = 0;
  // Where RevealChanged went, and what was selected then.
  Path jumped_to_, selected_at_jump_;
  // Paths with a NUL behind each name.
  std::unordered_set<std::string> open_;
  std::unordered_set<std::string> changed_;
  std::unordered_set<std::string> by_others_marks_;
  std::unordered_set<std::string> in_conflict_;
  std::unordered_set<std::string> hits_;
  std::unordered_set<std::string> above_hits_;
};

}  // namespace orvik::prefstool::browse
