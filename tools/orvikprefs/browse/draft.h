// A domain as it was last read, and the same domain with the user's changes, with no terminal in
// it.
//
// Nothing reaches the file before Apply, which is one transaction on conditions: what another
// process changed meanwhile is never overwritten. Changes are known by their paths, so that those
// of other processes above or beside them move nothing.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "prefs/reporting.h"
#include "strings/atl_string.h"
#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

// A change that was not made, because another process changed the same value.
struct Conflict {
  Path path;
  Value before, there, wanted;  // no value: nothing
};

// Three trees: the base, as the file was last read; the tree, with the user's changes on it; and
// what the file holds by now. A change is a path with the value before and after (tree.h), and all
// changes are always those between base and tree.
//
// Paths of functions are from the domain down; a path of no names is the domain itself, which can
// be neither set, moved nor removed. Values are as values.h says; equality is that of plist::Value:
// an integer is not the real that equals it.
class Draft {
 public:
  // Of the scope (0 to 5) and domain; reads nothing before Refresh.
  Draft(int scope, CAtlString domain);
  virtual ~Draft() = default;
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  int scope() const { return scope_; }
  const CAtlString& domain() const { return domain_; }
  const std::string& file() const { return file_; }  // its path
  // Of the last reading: ok, kNotFound for a domain without a file, or why its entries are unknown
  // (then those of the reading before stay).
  const PrefStatus& status() const { return status_; }
  // Whether the file could be replaced, or made, at the last look (host/trust.h: ReplaceAccess).
  bool is_writable() const { return is_writable_; }
  const Value& tree() const { return edited_; }
  // As the file holds it.
  const Value& base() const { return base_; }
  // Grows with every change of tree(), base() or the conflicts.
  std::size_t version() const { return version_; }

  // Reads the file again if it is another or a changed one by its inode, size and time. The user's
  // changes are carried over; those that meet changes of others become conflicts. A file that
  // cannot be read keeps the last base. True when something shown may have changed.
  bool Refresh();
  // The paths that the last reading found changed in the file.
  const std::vector<Path>& by_others() const { return by_others_; }

  // The present value at the path; no value when there is none.
  Value At(const Path& path) const { return FindIn(edited_, path); }

  // Changes in memory. Each gives a reason when it refuses, "" when it is made. `began` is what was
  // there when the user began; it is a conflict when that has changed since.
  //
  // Set makes missing keys on the way; the index behind the last one adds an element to an array. A
  // value that is in the way of a longer path is refused, not replaced.
  std::string Set(const Path& path, const Value& value, const Value& began);
  std::string Add(const Path& path, const Value& value);  // refuses a name that is taken
  std::string Remove(const Path& path, const Value& began) { return Set(path, {}, began); }
  // Removes all of them as one change, whatever lies in what: deeper ones first, and in an array
  // from the end, so that indices hold. Paths that do not exist are left out; it refuses when none
  // is left.
  std::string RemoveAll(std::vector<Path> paths);
  // A rename, too. Both refuse a target that exists; a key cannot move into itself, and an element
  // of an array cannot be moved.
  std::string Move(const Path& from, const Path& to);
  std::string Copy(const Path& from, const Path& to);

  // Takes back the last change, or makes it again. What it did, or why it did nothing. A change
  // that was written can be taken back, too; one that another process has changed since cannot.
  std::string Undo();
  std::string Redo();

  const std::vector<Change>& changes() const { return changes_; }
  // Takes the change of the path back; nothing for a path that is not changed. Undo takes that
  // back, too.
  void Revert(Path path);
  // Gives up all changes and conflicts.
  void RevertAll();
  // Makes changes that were kept, on what is there now; those that meet others become conflicts.
  void Restore(std::vector<Change> kept);
  // All that quitting would lose: the changes, and the user's side of each conflict.
  std::vector<Change> Unwritten() const;

  // Writes all changes in one transaction, on the condition that each value in the file is still
  // the one from before, or writes nothing: kConditionNotMet, and the conflicts are there. While
  // another process holds the lock it asks `keep_waiting` again and again, which waits a little,
  // for at most `limit`; kLockNotObtained after that, or when `keep_waiting` says no. Afterwards
  // the file is read again, whatever the result is.
  using KeepWaiting = std::function<bool(std::chrono::milliseconds waited)>;
  PrefStatus Apply(std::chrono::milliseconds limit = {}, const KeepWaiting& keep_waiting = {});

  const std::vector<Conflict>& conflicts() const { return conflicts_; }
  // Settles a conflict: the user's value becomes a change of what is there now, or is given up. ""
  // also for a path without a conflict; the reason when the change cannot be made, and then the
  // conflict stays.
  std::string Settle(Path path, bool take_mine);
  // The process that holds the lock of the domain, in harmless characters; "" for none.
  std::string LockHolder() const;
  // Changes and conflicts.
  std::size_t waiting() const { return changes_.size() + conflicts_.size(); }

 protected:
  enum class Cause { kUser, kOtherProcess };
  // Called after each change of the tree, the base or the conflicts.
  virtual void Changed(Cause cause) = 0;
  // Called after Undo or Redo with what it changed.
  virtual void Touched(const Path& path) = 0;

 private:
  // One action of the user, with the changes that it made of the tree.
  struct Step {
    std::string what;
    std::vector<Change> changes;
  };
  void SetBase(Value base);
  void RestoreOne(Value& tree, Change mine);
  void SetEdited(Value edited, Cause cause);
  void Do(std::string what, Value edited);
  std::string Put(std::string what, const Path& path, const Value& value);
  std::string Repeat(std::vector<Step>& from, std::vector<Step>& to, bool forward);
  bool PutConflict(Conflict conflict);

  int scope_;
  CAtlString domain_;
  std::string file_;
  PrefStatus status_;
  bool is_writable_ = false;
  host::FileIdentity identity_;
  bool is_first_reading_ = true;
  bool must_read_ = true;  // even if the file looks the same
  Value base_ = Value::Dictionary();
  Value edited_ = base_;
  std::vector<Step> undo_, redo_;
  std::vector<Change> changes_;
  std::vector<Conflict> conflicts_;
  std::vector<Path> by_others_;
  std::size_t version_ = 0;
};

struct Place {
  int scope;
  CAtlString domain;
  Value value;  // what is at the path there
};
// Every scope and domain whose file has something at the path, by scope, then by name. A file that
// cannot be read has nothing.
std::vector<Place> PlacesWith(const Path& path);

// Changes of a browser that was ended by a signal, kept until the next one is started.
//
// They lie in "Library/Application Support/orvikprefs" of the caller's own home (OwnHomeFolder in
// host/system.h), in a folder and in files that no other user may read: values may be secrets. A
// folder that belongs to another user, or that others may enter, is not used. A file belongs to the
// scope, the domain and the file behind them; several may be kept for one, none replaces another.
struct KeptChanges {
  std::string path;  // of the file
  std::vector<Change> changes;
};

// Keeps the changes of a preference file, on disk, in a new file of mode 0600. Returns its path, or
// "" with an errno value: EPERM for a folder that is not private, EEXIST when a hundred are kept
// already.
std::string KeepChanges(const std::string& preference_file, const std::vector<Change>& changes,
                        int* error);

// Returns the kept changes of the preference file, the oldest first; skips unreadable files.
std::vector<KeptChanges> FindKeptChanges(const std::string& preference_file);

// Removes the file of FindKeptChanges or KeepChanges, by its name in the folder.
void ForgetKeptChanges(const std::string& path);

}  // namespace orvik::prefstool::browse
