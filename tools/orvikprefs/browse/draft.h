// A domain as it was last read, and the same domain with the user's changes, independent of the
// terminal.
//
// The file does not change before Apply, which is one transaction with conditions: a change by
// another process is never overwritten. Changes have paths, so that changes of other processes
// above or beside them do not move them.
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

// A change that was not made because another process changed the same value.
struct Conflict {
  Path path;
  Value before, there, wanted;  // no value: the entry does not exist
};

// A draft has two trees: the base, as the file was last read, and the tree with the user's changes.
// A change is a path with the value before and after (tree.h); the changes are always the
// difference between base and tree.
//
// Paths start at the domain; an empty path is the domain itself, which can be neither set, moved
// nor removed. Values are as in values.h; equality is that of plist::Value: an integer never equals
// a real.
class Draft {
 public:
  // For the scope (0 to 5) and domain; reads nothing before Refresh.
  Draft(int scope, CAtlString domain);
  virtual ~Draft() = default;
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  int scope() const { return scope_; }
  const CAtlString& domain() const { return domain_; }
  const std::string& file() const { return file_; }  // its path
  // Of the last reading: ok, kNotFound for a domain without a file, or why the entries cannot be
  // read (then those of the reading before stay).
  const PrefStatus& status() const { return status_; }
  // Whether the file could be replaced, or made, at the last check (host/trust.h: ReplaceAccess).
  bool is_writable() const { return is_writable_; }
  const Value& tree() const { return edited_; }
  // The entries in the file.
  const Value& base() const { return base_; }
  // Increases with every change of tree(), base() or the conflicts.
  std::size_t version() const { return version_; }

  // Reads the file again if its inode, size or time differs. The user's changes are carried over;
  // changes of the same values by others make conflicts. If the file cannot be read, the last base
  // stays. True when the display may have changed.
  bool Refresh();
  // The paths whose values had changed in the file at the last reading.
  const std::vector<Path>& by_others() const { return by_others_; }

  // The present value at the path; no value when it does not exist.
  Value At(const Path& path) const { return FindIn(edited_, path); }

  // Changes in memory. Each returns the reason for a refusal, or "". `began` is the value that the
  // user began with; if it has changed since, the change becomes a conflict.
  //
  // Set makes missing keys on the path; an index one above the last adds an element to an array. A
  // value that blocks a longer path is refused, not replaced.
  std::string Set(const Path& path, const Value& value, const Value& began);
  std::string Add(const Path& path, const Value& value);  // refuses an existing name
  std::string Remove(const Path& path, const Value& began) { return Set(path, {}, began); }
  // Removes all of them as one change, even if some contain others: deeper ones first, and in an
  // array from the end, so that indices stay valid. Missing paths are skipped; refuses when none
  // exists.
  std::string RemoveAll(std::vector<Path> paths);
  // Move also renames. Both refuse a target that exists; a key cannot move into itself, and an
  // element of an array cannot be moved.
  std::string Move(const Path& from, const Path& to);
  std::string Copy(const Path& from, const Path& to);

  // Undo the last change, or make it again. Return what was done, or why not. A written change can
  // be undone, too; a change that another process has changed since cannot.
  std::string Undo();
  std::string Redo();

  const std::vector<Change>& changes() const { return changes_; }
  // Undoes the change at the path; nothing for a path that is not changed. Undo reverses that, too.
  void Revert(Path path);
  // Discards all changes and conflicts.
  void RevertAll();
  // Makes kept changes again, on the present tree; where others changed the value, conflicts.
  void Restore(std::vector<Change> kept);
  // All that quitting would lose: the changes, and the user's value of each conflict.
  std::vector<Change> Unwritten() const;

  // Writes all changes in one transaction if each value in the file is still the one from before;
  // otherwise writes nothing: kConditionNotMet, and conflicts. While another process holds the
  // lock, calls `keep_waiting` repeatedly, which waits a little, for at most `limit`; then, or if
  // `keep_waiting` returns false, kLockNotObtained. In every case the file is read again
  // afterwards.
  using KeepWaiting = std::function<bool(std::chrono::milliseconds waited)>;
  PrefStatus Apply(std::chrono::milliseconds limit = {}, const KeepWaiting& keep_waiting = {});

  const std::vector<Conflict>& conflicts() const { return conflicts_; }
  // Settles a conflict: the user's value becomes a change of the present value, or is discarded.
  // Returns "" also for a path without a conflict; the reason when the change cannot be made, and
  // then the conflict stays.
  std::string Settle(Path path, bool take_mine);
  // The process that holds the lock of the domain, in harmless characters; "" when it is free.
  std::string LockHolder() const;
  // The number of changes and conflicts.
  std::size_t waiting() const { return changes_.size() + conflicts_.size(); }

 protected:
  enum class Cause { kUser, kOtherProcess };
  // Called after each change of the tree, the base or the conflicts.
  virtual void Changed(Cause cause) = 0;
  // Called after Undo or Redo with the path of their first change.
  virtual void Touched(const Path& path) = 0;

 private:
  // One action of the user, with its changes of the tree.
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
  bool must_read_ = true;  // even if the file seems unchanged
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
  Value value;  // the value at the path there
};
// Every scope and domain whose file has an entry at the path, by scope, then by name. Files that
// cannot be read are skipped.
std::vector<Place> PlacesWith(const Path& path);

// Changes of a browser that was ended by a signal, kept until the next one is started.
//
// They are stored in "Library/Application Support/orvikprefs" of the caller's own home
// (OwnHomeFolder in host/system.h), in a folder and in files that no other user may read: values
// may be secrets. A folder that belongs to another user, or that others may enter, is not used. A
// file belongs to the scope, the domain and the file behind them; several may be kept for one, none
// replaces another.
struct KeptChanges {
  std::string path;  // of the file with the changes
  std::vector<Change> changes;
};

// Keeps the changes of a preference file, on disk, in a new file of mode 0600. Returns its path, or
// "" and an errno value: EPERM for a folder that is not private, EEXIST when a hundred are kept
// already.
std::string KeepChanges(const std::string& preference_file, const std::vector<Change>& changes,
                        int* error);

// Returns the kept changes of the preference file, the oldest first; skips unreadable files.
std::vector<KeptChanges> FindKeptChanges(const std::string& preference_file);

// Removes a file found by FindKeptChanges or made by KeepChanges, by its name in the folder.
void ForgetKeptChanges(const std::string& path);

}  // namespace orvik::prefstool::browse
