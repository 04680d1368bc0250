#include "tools/orvikprefs/browse/draft.h"

#include <algorithm>
#include <utility>

#include "host/trust.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

struct Address {
  KeyPath key;
  CAtlString name;
};

Address AddressOf(const Path& path) {
  std::vector<CAtlString> names;
  for (const std::string& name : path) names.push_back(NameUnits(name).value_or(u""));
  CAtlString last = std::move(names.back());
  names.pop_back();
  return {KeyPath::FromNames(std::move(names)), std::move(last)};
}

}  // namespace

Draft::Draft(int scope, CAtlString domain)
    : scope_(scope), domain_(std::move(domain)), file_(PreferenceFilePath(scope, domain_)) {}

bool Draft::Refresh() {
  host::FileIdentity identity = host::IdentityOf(file_);
  identity.changed = 0;  // ignore changes of attributes
  const bool writable = host::ReplaceAccess(file_) == 0;
  const bool right_changed = std::exchange(is_writable_, writable) != writable;
  if (!std::exchange(must_read_, false) && identity == identity_) return right_changed;
  const bool is_first = std::exchange(is_first_reading_, false);
  identity_ = identity;
  PrefValue read = ReadDomain(scope_, domain_);
  status_ = read.status;
  if (status_.error == PrefError::kNotFound) {
    read.value = Value::Dictionary();
  } else if (!status_.ok()) {
    return true;
  }
  by_others_.clear();
  if (!is_first) {
    for (Change& change : ChangesBetween(base_, read.value)) {
      by_others_.push_back(std::move(change.path));
    }
  }
  SetBase(std::move(read.value));
  return true;
}

// Carries the user's changes over to the new base:
//
//   the value in the file             the change
//   is as when the change was made    is made again
//   is the user's new value           is removed: it is done already
//   is another, or cannot be set      becomes a conflict; the tree shows the file's value
//
// Conflicts stay, with the file's present value.
void Draft::SetBase(Value base) {
  Value edited = base;
  for (Conflict& conflict : conflicts_) {
    conflict.there = FindIn(base, conflict.path);
  }
  for (Change& mine : changes_) RestoreOne(edited, std::move(mine));
  base_ = std::move(base);
  SetEdited(std::move(edited), Cause::kOtherProcess);
}

// Makes the change in the tree if the value is still the old value of the change.
void Draft::RestoreOne(Value& tree, Change mine) {
  Value there = FindIn(tree, mine.path);
  if (there == mine.after) return;
  Value changed;
  if (there == mine.before) changed = WithValue(tree, mine.path, mine.after);
  if (changed) {
    tree = std::move(changed);
  } else {
    PutConflict(
        {std::move(mine.path), std::move(mine.before), std::move(there), std::move(mine.after)});
  }
}

void Draft::SetEdited(Value edited, Cause cause) {
  edited_ = std::move(edited);
  changes_ = ChangesBetween(base_, edited_);
  ++version_;
  Changed(cause);
}

void Draft::Do(std::string what, Value edited) {
  std::vector<Change> changes = ChangesBetween(edited_, edited);
  if (!changes.empty()) {
    undo_.push_back({std::move(what), std::move(changes)});
    redo_.clear();
  }
  SetEdited(std::move(edited), Cause::kUser);
}

// At most one conflict for each path: the newest value counts. False if there was one before.
bool Draft::PutConflict(Conflict conflict) {
  const auto same = std::find_if(conflicts_.begin(), conflicts_.end(), [&](const Conflict& other) {
    return other.path == conflict.path;
  });
  if (same == conflicts_.end()) {
    conflicts_.push_back(std::move(conflict));
    return true;
  }
  *same = std::move(conflict);
  return false;
}

std::string Draft::Put(std::string what, const Path& path, const Value& value) {
  if (path.empty()) return "the domain itself cannot be changed so";
  Value changed = WithValue(edited_, path, value);
  if (!changed) return "a value is in the way of " + ShownPath(path);
  Do(std::move(what), std::move(changed));
  return {};
}

std::string Draft::Set(const Path& path, const Value& value, const Value& began) {
  Value there = At(path);
  if (there == began || there == value) {
    // The user has seen the other value and decided.
    std::erase_if(conflicts_, [&](const Conflict& conflict) { return conflict.path == path; });
    if (!value && !there) return ShownPath(path) + " does not exist";
    return Put((value ? "set " : "delete ") + ShownPath(path), path, value);
  }
  PutConflict({path, began, std::move(there), value});
  ++version_;
  Changed(Cause::kUser);
  return "another process changed " + ShownPath(path) + " meanwhile: C shows both";
}

std::string Draft::Add(const Path& path, const Value& value) {
  if (At(path)) return ShownPath(path) + " exists already";
  return Put("add " + ShownPath(path), path, value);
}

std::string Draft::RemoveAll(std::vector<Path> paths) {
  // Deeper paths go first, and within an array the last elements.
  std::sort(paths.begin(), paths.end(), [](const Path& one, const Path& other) {
    if (one.size() != other.size()) return one.size() > other.size();
    if (one.empty()) return false;
    if (one.back().size() != other.back().size()) return one.back().size() > other.back().size();
    return one.back() > other.back();
  });
  Value tree = edited_;
  std::size_t count = 0;
  for (const Path& path : paths) {
    if (path.empty() || !FindIn(tree, path)) continue;
    tree = WithValue(std::move(tree), path, {});
    ++count;
  }
  if (count == 0) return "nothing to delete";
  Do("delete " + Counted(count, "row", "rows"), std::move(tree));
  return {};
}

std::string Draft::Move(const Path& from, const Path& to) {
  if (from == to) return {};
  const Value value = At(from);
  if (!value || from.empty()) return ShownPath(from) + " cannot be moved";
  if (IsAtOrBelow(to, from)) return "a key cannot move into itself";
  if (!At(Path(from.begin(), from.end() - 1)).is_dictionary()) {
    return "an array element cannot be renamed; copy it, then delete it";
  }
  if (At(to)) return ShownPath(to) + " exists already";
  const Value without = WithValue(edited_, from, {});
  Value changed = without && !to.empty() ? WithValue(without, to, value) : Value();
  if (!changed) return "a value is in the way of " + ShownPath(to);
  Do("move " + ShownPath(from) + " to " + ShownPath(to), std::move(changed));
  return {};
}

std::string Draft::Copy(const Path& from, const Path& to) {
  const Value value = At(from);
  if (!value || from.empty()) return ShownPath(from) + " cannot be copied";
  return Add(to, value);
}

// A step is undone, or made again, as a whole or not at all: each value must be as the step left
// (or found) it. A change that has become a conflict is undone by removing the conflict.
std::string Draft::Repeat(std::vector<Step>& from, std::vector<Step>& to, bool forward) {
  const char* const word = forward ? "redo" : "undo";
  if (from.empty()) return std::string("nothing to ") + word;
  Step step = std::move(from.back());
  from.pop_back();
  Value tree = edited_;
  std::vector<Path> withdrawn;
  for (const Change& change : step.changes) {
    const Value& expected = forward ? change.before : change.after;
    const auto is_wish = [&](const Conflict& conflict) {
      return conflict.path == change.path && conflict.wanted == change.after;
    };
    Value changed;
    if (!forward && std::any_of(conflicts_.begin(), conflicts_.end(), is_wish)) {
      withdrawn.push_back(change.path);
      continue;
    }
    if (FindIn(tree, change.path) == expected) {
      changed = WithValue(tree, change.path, forward ? change.after : change.before);
    }
    if (!changed) {
      return std::string("cannot ") + word + ": another process has changed " +
             ShownPath(change.path) + " since";
    }
    tree = std::move(changed);
  }
  std::erase_if(conflicts_, [&](const Conflict& conflict) {
    return std::find(withdrawn.begin(), withdrawn.end(), conflict.path) != withdrawn.end();
  });
  std::string report = std::string(word) + ": " + step.what;
  const Path touched = step.changes.front().path;
  to.push_back(std::move(step));
  SetEdited(std::move(tree), Cause::kUser);
  Touched(touched);
  return report;
}

std::string Draft::Undo() {
  return Repeat(undo_, redo_, false);
}

std::string Draft::Redo() {
  return Repeat(redo_, undo_, true);
}

void Draft::Revert(const Path path) {
  for (const Change& change : changes_) {
    if (change.path != path) continue;
    Value changed = WithValue(edited_, path, change.before);
    if (changed) Do("give up " + ShownPath(path), std::move(changed));
    return;
  }
}

void Draft::RevertAll() {
  conflicts_.clear();
  Do("give up all changes", base_);
}

void Draft::Restore(std::vector<Change> kept) {
  Value tree = edited_;
  for (Change& mine : kept) RestoreOne(tree, std::move(mine));
  Do("take over kept changes", std::move(tree));
}

std::vector<Change> Draft::Unwritten() const {
  std::vector<Change> unwritten = changes_;
  for (const Conflict& conflict : conflicts_) {
    unwritten.push_back({conflict.path, conflict.before, conflict.wanted});
  }
  return unwritten;
}

PrefStatus Draft::Apply(std::chrono::milliseconds limit, const KeepWaiting& keep_waiting) {
  Transaction transaction(scope_, domain_);
  for (const Change& change : changes_) {
    const auto [key, name] = AddressOf(change.path);
    transaction.RequireThat(
        key, name, [before = change.before](const Value& present) { return present == before; });
    AddChange(transaction, key, name, change.after);
  }
  // Each try is short, so that the user can cancel.
  transaction.WaitAtMost(std::chrono::milliseconds(0));
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  PrefStatus status = transaction.Commit();
  while (status.error == PrefError::kLockNotObtained && keep_waiting) {
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    if (waited >= limit || !keep_waiting(waited)) break;
    status = transaction.Commit();
  }
  if (status.ok()) {
    // The changes just applied are not reported as changes by others; earlier ones of others are.
    base_ = edited_;
    changes_.clear();
  }
  must_read_ = true;
  Refresh();
  return status;
}

// The path may belong to the conflict itself, which is erased: so it is passed by value.
std::string Draft::Settle(const Path path, bool take_mine) {
  const auto found = std::find_if(conflicts_.begin(), conflicts_.end(),
                                  [&](const Conflict& conflict) { return conflict.path == path; });
  if (found == conflicts_.end()) return {};
  const bool sets = take_mine && (found->wanted || At(path));
  Value changed = sets ? WithValue(edited_, path, found->wanted) : edited_;
  if (!changed) return "a value is in the way of " + ShownPath(path);
  conflicts_.erase(found);
  Do("take mine: " + ShownPath(path), std::move(changed));
  return {};
}

std::string Draft::LockHolder() const {
  Context context;
  context.scope = scope_;
  context.domain = domain_;
  const prefstool::LockHolder holder = FindHolder(context);
  return holder.is_held() ? ProcessOf(holder) : std::string();
}

std::vector<Place> PlacesWith(const Path& path) {
  std::vector<Place> places;
  for (const ScopeName& scope : kNamedScopes) {
    for (const DomainFile& file : DomainsOf(scope.scope).list) {
      const CAtlString domain = *FromUtf8(file.name);
      Value value = FindIn(ReadDomain(scope.scope, domain).value, path);
      if (value) places.push_back({scope.scope, domain, std::move(value)});
    }
  }
  return places;
}

}  // namespace orvik::prefstool::browse
