#include "tools/orvikprefs/browse/model.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "prefs/transaction.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

// A path as one text that no other path has.
std::string Joined(const Path& path) {
  std::string joined;
  for (const std::string& name : path) (joined += name) += '\0';
  return joined;
}

// The path and every path above it.
void InsertWithParents(std::unordered_set<std::string>& set, const Path& path) {
  std::string joined;
  set.insert(joined);
  for (const std::string& name : path) {
    (joined += name) += '\0';
    set.insert(joined);
  }
}

bool AreSame(CFPropertyListRef a, CFPropertyListRef b) {
  return a == b || (a != nullptr && b != nullptr && CFEqual(a, b));
}

bool StartsWith(const Path& path, const Path& start) {
  return path.size() >= start.size() && std::equal(start.begin(), start.end(), path.begin());
}

std::string Quote(const Path& path) {
  return "\"" + Escaped(JoinedPath(path)) + "\"";
}

}  // namespace

bool Model::Identity::operator==(const Identity& other) const {
  return device == other.device && inode == other.inode && size == other.size &&
         changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
}

Model::Model(int scope, CAtlString domain)
    : scope_(scope),
      domain_(std::move(domain)),
      file_(PreferenceFilePath(scope, domain_)),
      edited_(Tree::Retaining(base_)) {
  open_.insert("");
  identity_.size = -2;  // of no file, so that the first reading takes place
  Refresh();
}

Model::Identity Model::IdentityOfFile() const {
  struct stat info = {};
  if (stat(file_.c_str(), &info) != 0) return {};
  return {info.st_dev, info.st_ino, info.st_size, info.st_mtim};
}

bool Model::Refresh() {
  const Identity identity = IdentityOfFile();
  const std::size_t slash = file_.rfind('/');
  const bool writable = identity.size >= 0 ? access(file_.c_str(), W_OK) == 0
                                           : access(file_.substr(0, slash).c_str(), W_OK) == 0 ||
                                                 access(file_.substr(0, slash).c_str(), F_OK) != 0;
  const bool right_changed = std::exchange(is_writable_, writable) != writable;
  if (identity == identity_) return right_changed;
  const bool is_first = identity_.size == -2;
  identity_ = identity;
  PrefResult<CFDictionaryRef> read = CopyDomain(scope_, domain_);
  status_ = read.status;
  if (status_.error == PrefError::kNotFound) {
    read.value = EmptyTree();
  } else if (!status_.ok()) {
    Rebuild();
    return true;
  }
  by_others_.clear();
  if (!is_first) {
    for (const Change& change : ChangesBetween(base_, read.value)) {
      InsertWithParents(by_others_, change.path);
    }
  }
  Adopt(std::move(read.value));
  return true;
}

// Carries the user's changes over to what was read.
void Model::Adopt(Tree base) {
  Tree edited = Tree::Retaining(base);
  for (Change& mine : changes_) {
    const CFPropertyListRef there = FindIn(base, mine.path);
    if (AreSame(there, mine.after)) continue;
    Tree changed;
    if (AreSame(there, mine.before)) changed = WithValue(edited, mine.path, mine.after);
    if (changed) {
      edited = std::move(changed);
    } else {
      conflicts_.push_back(
          {mine.path, std::move(mine.before), Value::Retaining(there), std::move(mine.after)});
    }
  }
  base_ = std::move(base);
  history_.clear();
  Become(std::move(edited), false);
}

void Model::Become(Tree edited, bool can_undo) {
  if (can_undo) history_.push_back(std::move(edited_));
  edited_ = std::move(edited);
  changes_ = ChangesBetween(base_, edited_);
  ++version_;
  Rebuild();
}

Path Model::PathOf(int key_row) const {
  Path path;
  for (int row = key_row; row > 0; row = keys_[static_cast<std::size_t>(row)].parent) {
    path.push_back(ToUtf8(keys_[static_cast<std::size_t>(row)].name));
  }
  std::reverse(path.begin(), path.end());
  return path;
}

Path Model::PathOfValue(int value_row) const {
  Path path = PathOf(selected_key_);
  path.push_back(ToUtf8(values_[static_cast<std::size_t>(value_row)].name));
  return path;
}

Mark Model::MarkOf(const std::string& joined, CFPropertyListRef was) const {
  if (in_conflict_.contains(joined)) return Mark::kConflict;
  if (was == nullptr) return Mark::kAdded;
  if (changed_.contains(joined)) return Mark::kChanged;
  return by_others_.contains(joined) ? Mark::kByOthers : Mark::kNone;
}

void Model::Rebuild() {
  const int selected_value = selected_value_;
  changed_.clear();
  for (const Change& change : changes_) InsertWithParents(changed_, change.path);
  in_conflict_.clear();
  for (const Conflict& conflict : conflicts_) InsertWithParents(in_conflict_, conflict.path);
  keys_.clear();
  keys_.push_back({-1, 0, nullptr, edited_, open_.contains(""), false, MarkOf("", base_.Get())});
  // An explicit stack in place of recursion, so that rows come in the order in which they are
  // shown.
  struct Level {
    int row;
    std::string joined;
    CFDictionaryRef base;  // null: the key is new
    std::vector<Entry> entries;
    std::size_t next = 0;
  };
  std::vector<Level> levels;
  const auto enter = [&](int row, std::string joined, CFDictionaryRef base) {
    std::vector<Entry> keys = SortedEntries(keys_[static_cast<std::size_t>(row)].entries);
    std::erase_if(keys, [](const Entry& entry) { return !IsDictionary(entry.value); });
    keys_[static_cast<std::size_t>(row)].has_keys = !keys.empty();
    if (keys_[static_cast<std::size_t>(row)].is_open) {
      levels.push_back({row, std::move(joined), base, std::move(keys)});
    }
  };
  enter(0, "", base_);
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.entries.size()) {
      levels.pop_back();
      continue;
    }
    const Entry entry = level.entries[level.next++];
    const auto* const entries = static_cast<CFDictionaryRef>(entry.value);
    std::string joined = level.joined + ToUtf8(entry.name) + '\0';
    const CFPropertyListRef was =
        level.base != nullptr ? CFDictionaryGetValue(level.base, entry.name) : nullptr;
    keys_.push_back({level.row, keys_[static_cast<std::size_t>(level.row)].depth + 1, entry.name,
                     entries, open_.contains(joined), false, MarkOf(joined, was)});
    const CFDictionaryRef base = IsDictionary(was) ? static_cast<CFDictionaryRef>(was) : nullptr;
    enter(static_cast<int>(keys_.size()) - 1, std::move(joined), base);
  }
  SelectKey(NearestRow(selected_path_));
  SelectValue(selected_value);
}

int Model::NearestRow(const Path& key) const {
  std::size_t found = 0;
  std::size_t row = 0;
  for (const std::string& name : key) {
    // Each key is among the rows after the one above it.
    do {
      if (++row == keys_.size()) return static_cast<int>(found);
    } while (keys_[row].parent != static_cast<int>(found) || ToUtf8(keys_[row].name) != name);
    found = row;
  }
  return static_cast<int>(found);
}

void Model::FillValues() {
  values_.clear();
  const Path path = PathOf(selected_key_);
  const CFPropertyListRef base = FindIn(base_, path);
  const std::string joined = Joined(path);
  for (const Entry& entry : SortedEntries(keys_[static_cast<std::size_t>(selected_key_)].entries)) {
    if (IsDictionary(entry.value)) continue;
    const CFPropertyListRef was =
        IsDictionary(base) ? CFDictionaryGetValue(static_cast<CFDictionaryRef>(base), entry.name)
                           : nullptr;
    values_.push_back({entry.name, entry.value, MarkOf(joined + ToUtf8(entry.name) + '\0', was)});
  }
}

void Model::SelectKey(int row) {
  selected_key_ = std::clamp(row, 0, static_cast<int>(keys_.size()) - 1);
  selected_path_ = PathOf(selected_key_);
  FillValues();
  SelectValue(0);
}

void Model::SelectValue(int row) {
  selected_value_ = std::clamp(row, 0, std::max(0, static_cast<int>(values_.size()) - 1));
}

void Model::Open(int key_row, bool open) {
  const std::string joined = Joined(PathOf(key_row));
  if (open ? !open_.insert(joined).second : open_.erase(joined) == 0) return;
  Rebuild();
}

bool Model::Reveal(const Path& path) {
  const CFPropertyListRef target = FindIn(edited_, path);
  if (target == nullptr) return false;
  const std::size_t key_length = IsDictionary(target) ? path.size() : path.size() - 1;
  bool is_new = false;
  std::string joined;
  for (std::size_t i = 0; i < key_length; ++i) {
    is_new |= open_.insert(joined).second;
    (joined += path[i]) += '\0';
  }
  if (is_new) Rebuild();
  SelectKey(NearestRow(Path(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(key_length))));
  for (std::size_t value = 0; key_length < path.size() && value < values_.size(); ++value) {
    if (ToUtf8(values_[value].name) == path.back()) SelectValue(static_cast<int>(value));
  }
  return true;
}

std::string Model::Put(const Path& path, CFPropertyListRef value) {
  if (path.empty()) return "the domain itself cannot be changed so";
  Tree changed = WithValue(edited_, path, value);
  if (!changed) return "a value is in the way of " + Quote(path);
  Become(std::move(changed), true);
  return {};
}

std::string Model::Set(const Path& path, CFPropertyListRef value) {
  return Put(path, value);
}

std::string Model::Add(const Path& path, CFPropertyListRef value) {
  if (FindIn(edited_, path) != nullptr) return Quote(path) + " exists already";
  return Put(path, value);
}

std::string Model::Remove(const Path& path) {
  if (FindIn(edited_, path) == nullptr) return Quote(path) + " does not exist";
  return Put(path, nullptr);
}

std::string Model::Move(const Path& from, const Path& to) {
  if (from == to) return {};
  const Value value = Value::Retaining(FindIn(edited_, from));
  if (!value || from.empty()) return Quote(from) + " cannot be moved";
  if (StartsWith(to, from)) return "a key cannot move into itself";
  if (FindIn(edited_, to) != nullptr) return Quote(to) + " exists already";
  const Tree without = WithValue(edited_, from, nullptr);
  Tree changed = without && !to.empty() ? WithValue(without, to, value) : Tree();
  if (!changed) return "a value is in the way of " + Quote(to);
  Become(std::move(changed), true);
  Reveal(to);
  return {};
}

std::string Model::Copy(const Path& from, const Path& to) {
  const Value value = Value::Retaining(FindIn(edited_, from));
  if (!value || from.empty()) return Quote(from) + " cannot be copied";
  std::string refusal = Add(to, value);
  if (refusal.empty()) Reveal(to);
  return refusal;
}

bool Model::Undo() {
  if (history_.empty()) return false;
  Tree last = std::move(history_.back());
  history_.pop_back();
  Become(std::move(last), false);
  return true;
}

void Model::Revert(std::size_t change) {
  if (change >= changes_.size()) return;
  Tree changed = WithValue(edited_, changes_[change].path, changes_[change].before);
  if (changed) Become(std::move(changed), true);
}

void Model::RevertAll() {
  conflicts_.clear();
  Become(Tree::Retaining(base_), true);
}

PrefStatus Model::Apply() {
  Transaction transaction(scope_, domain_);
  for (const Change& change : changes_) {
    std::vector<CAtlString> keys;
    for (const std::string& name : change.path) keys.push_back(FromUtf8(name).value_or(u""));
    const CAtlString name = keys.back();
    keys.pop_back();
    const KeyPath parent = KeyPath::FromNames(std::move(keys));
    if (change.before) {
      transaction.RequireEqual(parent, name, change.before);
    } else {
      transaction.RequireAbsent(parent, name);
    }
    if (change.after) {
      transaction.Set(parent, name, change.after);
    } else {
      transaction.Delete(parent, name);
    }
  }
  PrefStatus status = transaction.Commit();
  if (status.ok()) {
    // What was applied is not news; what others wrote before it is.
    base_ = Tree::Retaining(edited_);
    changes_.clear();
  }
  identity_.size = -3;  // read it again, even if it looks the same
  Refresh();
  return status;
}

void Model::Settle(std::size_t conflict, bool take_mine) {
  if (conflict >= conflicts_.size()) return;
  const Conflict settled = std::move(conflicts_[conflict]);
  conflicts_.erase(conflicts_.begin() + static_cast<std::ptrdiff_t>(conflict));
  Tree changed = take_mine ? WithValue(edited_, settled.path, settled.wanted) : Tree();
  if (changed) {
    Become(std::move(changed), true);
  } else {
    Rebuild();
  }
}

}  // namespace orvik::prefstool::browse
