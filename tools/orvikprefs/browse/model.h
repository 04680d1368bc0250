// The rows of the browser over a draft: keys and values, the open keys and the selection,
// independent of the terminal.
//
// The selection is a path, not a row, so rows that another process adds or removes do not move it.
// If the selected entry itself is removed, its path stays selected, as gone, until the user moves.
// The same happens when an array on the path changes, because its names are only indices. Rows are
// valid until the next call that is not const.
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

// How a row differs from the file as it was first read. A conflict comes first, then an addition, a
// change by the user, and a change by another process.
enum class Mark {
  kNone,
  kChanged,   // by the user: the value, or an entry below the key
  kAdded,     // by the user
  kByOthers,  // changed in the file since the reading before
  kConflict,  // changes of the user and of another process conflict here or below
};

// kName is the order of the names' UTF-16 units; it also orders rows that are equal in another
// order. Elements of arrays keep the order of their indices.
enum class Order { kName, kType, kSize };

// A row on the left: a dictionary or an array.
struct KeyRow {
  int parent;  // row of its parent; -1 for the domain itself, the first row
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

// Every change of the draft, the filter or the order builds the rows again; the selection and the
// open keys are kept by path.
class Model : public Draft {
 public:
  // Reads the domain. Only its top level is open.
  Model(int scope, CAtlString domain);

  // The open keys and their keys, from the domain down.
  const std::vector<KeyRow>& keys() const { return keys_; }
  const std::vector<ValueRow>& values() const { return values_; }  // of the selected key
  // The path of a row, which must exist.
  Path PathOf(int key_row) const;
  Path PathOfValue(int value_row) const;

  int selected_key() const { return selected_key_; }
  int selected_value() const { return selected_value_; }
  void SelectKey(int row);    // clamped
  void SelectValue(int row);  // clamped
  // Whether the values of the selected key have the focus.
  bool on_values() const { return on_values_; }
  void FocusValues(bool on_values) { on_values_ = on_values; }
  // Moves the selection down on the side with the focus, or up for a negative number; clamped.
  void MoveBy(int rows);

  // The target of an action: the selected key, or the selected value when values have the focus.
  const Path& selected_key_path() const { return key_path_; }
  Path SelectedPath() const;
  // Whether another process removed the selected entry, or changed an array above it, so that the
  // path may lead to another element. Actions are refused until the user has selected again.
  bool is_gone() const { return key_gone_ || element_gone_ || (on_values_ && value_gone_); }

  // Opens or closes a key. The state is kept even if the key is removed and added again.
  void Open(int key_row, bool open);
  // Opens the keys above the key or value and selects it. False when it does not exist.
  bool Reveal(const Path& path);
  // Selects the next (1) or previous (-1) path that the user or another process changed; for a
  // removed entry, its deepest existing parent. False when nothing is changed.
  bool RevealChanged(int step);
  // The same for the given path, or for its deepest existing parent.
  void RevealNearest(Path path);

  // Shows only entries that contain the text in their name or value, in any case, and the entries
  // above and below them. "" shows all.
  void SetFilter(std::string text);
  const std::string& filter() const { return filter_; }
  // The index of the present tree, made by the first call after a change. Valid until the next call
  // that is not const.
  const SearchIndex& index();

  // Values by name, by type or by size; keys by name or by size. Sizes are in descending order.
  void SetOrder(Order order);
  Order order() const { return order_; }
  std::size_t SizeOf(const Value& value) { return browse::SizeOf(value, sizes_); }

  // Picks or unpicks the selected row for a deletion. Rows that are removed are unpicked, and so
  // are array elements whose index gets another value.
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
  // Whether the key, or one above it, matches the filter.
  bool IsInHit(const Path& key) const;
  void Sort(std::vector<Child>& children, bool by_type);
  // The row of the key, or of its deepest parent with a row.
  int NearestRow(const Path& key) const;
  std::optional<std::string> ArrayAbove(const Path& path) const;
  Mark MarkOf(const std::string& joined, const Value& was, const Value& now) const;

  std::vector<KeyRow> keys_;
  std::vector<ValueRow> values_;
  int selected_key_ = 0;
  int selected_value_ = 0;
  bool on_values_ = false;
  Path key_path_;
  std::string value_name_;  // used when there are values
  bool key_gone_ = false;
  bool value_gone_ = false;
  bool element_gone_ = false;
  std::string filter_;
  Order order_ = Order::kName;
  KnownSizes sizes_;
  std::map<Path, Value> picked_;  // with the value: an index may get another element
  std::unique_ptr<SearchIndex> index_;
  std::size_t index_version_ = 0;
  // The path that RevealChanged went to, and the selection then.
  Path jumped_to_, selected_at_jump_;
  // Paths with a NUL after each name.
  std::unordered_set<std::string> open_;
  std::unordered_set<std::string> changed_;
  std::unordered_set<std::string> by_others_marks_;
  std::unordered_set<std::string> in_conflict_;
  std::unordered_set<std::string> hits_;
  std::unordered_set<std::string> above_hits_;
};

}  // namespace orvik::prefstool::browse
