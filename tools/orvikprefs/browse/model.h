// What the browser shows and changes, with no terminal in it.
//
// The model holds the domain as it was last read and the same domain with the user's changes.
// Nothing reaches the file before Apply, which is one transaction on conditions: what another
// process changed meanwhile is never overwritten. Rows own nothing: they are valid until the next
// call that is not const.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "prefs/reporting.h"
#include "strings/atl_string.h"
#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

enum class Mark {
  kNone,
  kChanged,   // by the user: the value, or something below the key
  kAdded,     // by the user
  kByOthers,  // changed in the file since it was read before
  kConflict,  // the user's change and another process's meet here or below
};

struct KeyRow {
  int parent;  // row of the key above; -1 for the domain itself, the first row
  int depth;
  CFStringRef name;  // null for the domain itself
  CFDictionaryRef entries;
  bool is_open;
  bool has_keys;
  Mark mark;
};

struct ValueRow {
  CFStringRef name;
  CFPropertyListRef value;
  Mark mark;
};

// A change that was not carried over to what another process wrote.
struct Conflict {
  Path path;
  Value before, there, wanted;  // null: nothing
};

class Model {
 public:
  Model(int scope, CAtlString domain);

  int scope() const { return scope_; }
  const CAtlString& domain() const { return domain_; }
  const std::string& file() const { return file_; }
  // Of the last reading: ok, kNotFound for a domain without a file, or why its entries are unknown
  // (then those of the reading before stay).
  const PrefStatus& status() const { return status_; }
  bool is_writable() const { return is_writable_; }
  CFDictionaryRef tree() const { return edited_; }
  // Grows with every change of tree().
  std::size_t version() const { return version_; }

  // Reads the file again if it is another or a changed one. The user's changes are carried over;
  // those that meet changes of others become conflicts. True when something shown may have changed.
  bool Refresh();

  // Keys from the domain down, as far as they are open, names in the order of their UTF-16 units.
  const std::vector<KeyRow>& keys() const { return keys_; }
  const std::vector<ValueRow>& values() const { return values_; }  // of the selected key
  Path PathOf(int key_row) const;
  Path PathOfValue(int value_row) const;

  int selected_key() const { return selected_key_; }
  int selected_value() const { return selected_value_; }
  void SelectKey(int row);    // clamped
  void SelectValue(int row);  // clamped
  void Open(int key_row, bool open);
  // Opens what is above the key or value and selects it. False when there is none.
  bool Reveal(const Path& path);

  // Changes in memory. Each gives a reason when it refuses, "" when it is made.
  std::string Set(const Path& path, CFPropertyListRef value);
  std::string Add(const Path& path, CFPropertyListRef value);  // refuses a name that is taken
  std::string Remove(const Path& path);
  std::string Move(const Path& from, const Path& to);  // a rename, too
  std::string Copy(const Path& from, const Path& to);
  bool Undo();  // the last of them

  const std::vector<Change>& changes() const { return changes_; }
  void Revert(std::size_t change);
  void RevertAll();
  PrefStatus Apply();

  const std::vector<Conflict>& conflicts() const { return conflicts_; }
  // Settles a conflict: the user's value becomes a change of what is there now, or is given up.
  void Settle(std::size_t conflict, bool take_mine);

 private:
  struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec changed = {};
    bool operator==(const Identity& other) const;
  };
  Identity IdentityOfFile() const;
  void Adopt(Tree base);
  void Become(Tree edited, bool can_undo);
  std::string Put(const Path& path, CFPropertyListRef value);
  void Rebuild();
  void FillValues();
  // The deepest row on the way to the key that is shown.
  int NearestRow(const Path& key) const;
  Mark MarkOf(const std::string& joined, CFPropertyListRef was) const;

  int scope_;
  CAtlString domain_;
  std::string file_;
  PrefStatus status_;
  bool is_writable_ = false;
  Identity identity_;
  Tree base_ = EmptyTree();
  Tree edited_;
  std::vector<Tree> history_;
  std::vector<Change> changes_;
  std::vector<Conflict> conflicts_;
  std::size_t version_ = 0;

  std::vector<KeyRow> keys_;
  std::vector<ValueRow> values_;
  int selected_key_ = 0;
  int selected_value_ = 0;
  Path selected_path_;  // of the key; it outlives the rows
  // Paths with a NUL behind each name.
  std::unordered_set<std::string> open_;
  std::unordered_set<std::string> changed_;
  std::unordered_set<std::string> by_others_;
  std::unordered_set<std::string> in_conflict_;
};

}  // namespace orvik::prefstool::browse
