#include "tools/orvikprefs/browse/model.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "plist/xml.h"

namespace orvik::prefstool::browse {
namespace {

// A path as one text that is unique to it.
std::string Joined(const Path& path) {
  std::string joined;
  for (const std::string& name : path) (joined += name) += '\0';
  return joined;
}

// Inserts the path and every path above it.
void InsertWithParents(std::unordered_set<std::string>& set, const Path& path) {
  std::string joined;
  set.insert(joined);
  for (const std::string& name : path) {
    (joined += name) += '\0';
    set.insert(joined);
  }
}

// Whether a container contains another one. Entries that are still XML are not parsed for that:
// most rows are never opened.
bool HasKeys(const Value& container) {
  if (container.is_array()) {
    return std::any_of(container.elements().begin(), container.elements().end(), IsContainer);
  }
  if (const auto xml = container.deferred()) {
    const std::string_view text = xml->text();
    if (text.find("<dict", 1) == text.npos && text.find("<array") == text.npos) return false;
  }
  for (const Value::Entry& entry : container.entries()) {
    if (IsContainer(entry.value)) return true;
  }
  return false;
}

}  // namespace

Model::Model(int scope, CAtlString domain) : Draft(scope, std::move(domain)) {
  open_.insert("");
  Refresh();
}

Path Model::PathOf(int key_row) const {
  Path path;
  for (int row = key_row; row > 0; row = keys_[static_cast<std::size_t>(row)].parent) {
    path.push_back(keys_[static_cast<std::size_t>(row)].name);
  }
  std::reverse(path.begin(), path.end());
  return path;
}

Path Model::PathOfValue(int value_row) const {
  Path path = key_path_;
  path.push_back(values_[static_cast<std::size_t>(value_row)].name);
  return path;
}

Path Model::SelectedPath() const {
  Path path = key_path_;
  if (on_values_ && (value_gone_ || !values_.empty())) path.push_back(value_name_);
  return path;
}

Mark Model::MarkOf(const std::string& joined, const Value& was, const Value& now) const {
  if (in_conflict_.contains(joined)) return Mark::kConflict;
  if (!was) return Mark::kAdded;
  if (changed_.contains(joined)) return Mark::kChanged;
  if (by_others_marks_.contains(joined)) return Mark::kByOthers;
  // A change of an array is one change; its elements are compared when they are shown.
  return was == now ? Mark::kNone : Mark::kChanged;
}

void Model::Rebuild(Cause cause) {
  changed_.clear();
  for (const Change& change : changes()) InsertWithParents(changed_, change.path);
  in_conflict_.clear();
  for (const Conflict& conflict : conflicts()) InsertWithParents(in_conflict_, conflict.path);
  by_others_marks_.clear();
  for (const Path& path : by_others()) InsertWithParents(by_others_marks_, path);
  sizes_.clear();
  std::erase_if(picked_, [this](const auto& picked) {
    const Value there = FindIn(tree(), picked.first);
    return !there || (ArrayAbove(picked.first) && there != picked.second);
  });
  UpdateFilter();
  BuildKeys();
  SelectAgain(cause);
}

// Makes the rows of all open keys, from the top down. With a filter: the keys that match, with
// everything in them, and the keys above other matches. The cost depends on the open keys and the
// names shown; entries of closed keys are not parsed (HasKeys).
void Model::BuildKeys() {
  keys_.clear();
  keys_.push_back(
      {-1, 0, "", tree(), open_.contains(""), false, false, MarkOf("", base(), tree())});
  // An explicit stack instead of recursion makes the rows in the order of the screen.
  struct Level {
    int row;
    std::string joined;
    bool in_hit;
    std::vector<Child> keys;
    std::size_t next = 0;
  };
  std::vector<Level> levels;
  const auto enter = [&](int row, std::string joined, const Value& base, bool in_hit) {
    KeyRow& key = keys_[static_cast<std::size_t>(row)];
    if (!key.is_open && in_hit) {
      key.has_keys = HasKeys(key.node);
      return;
    }
    std::vector<Child> keys = ChildrenOf(key.node, base);
    std::erase_if(keys, [](const Child& child) { return !IsContainer(child.value); });
    if (!in_hit) {
      std::erase_if(keys, [&](const Child& child) {
        const std::string place = joined + child.name + '\0';
        return !hits_.contains(place) && !above_hits_.contains(place);
      });
    }
    Sort(keys, false);
    key.has_keys = !keys.empty();
    if (key.is_open) levels.push_back({row, std::move(joined), in_hit, std::move(keys)});
  };
  enter(0, "", base(), filter_.empty());
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.keys.size()) {
      levels.pop_back();
      continue;
    }
    Child& child = level.keys[level.next++];
    std::string joined = level.joined + child.name + '\0';
    const int depth = keys_[static_cast<std::size_t>(level.row)].depth + 1;
    const bool in_hit = level.in_hit || hits_.contains(joined);
    // The keys above a hit are open.
    const bool is_open = open_.contains(joined) || (!level.in_hit && above_hits_.contains(joined));
    keys_.push_back({level.row, depth, std::move(child.name), child.value, is_open, false, false,
                     MarkOf(joined, child.old, child.value)});
    const int row = static_cast<int>(keys_.size()) - 1;
    if (!picked_.empty()) keys_.back().is_picked = picked_.contains(PathOf(row));
    enter(row, std::move(joined), child.old, in_hit);
  }
}

int Model::NearestRow(const Path& key) const {
  std::size_t found = 0;
  std::size_t row = 0;
  for (const std::string& name : key) {
    // The row of each key comes after that of its parent.
    do {
      if (++row == keys_.size()) return static_cast<int>(found);
    } while (keys_[row].parent != static_cast<int>(found) || keys_[row].name != name);
    found = row;
  }
  return static_cast<int>(found);
}

// After the rows were built: selects the same key and value by name. If the user removed it, the
// row in its place is selected; if another process removed it, its path stays selected.
void Model::SelectAgain(Cause cause) {
  const int row = NearestRow(key_path_);
  const bool is_there =
      keys_[static_cast<std::size_t>(row)].depth == static_cast<int>(key_path_.size());
  if (!is_there && cause == Cause::kUser && !key_gone_) return SelectKey(row);
  selected_key_ = row;
  key_gone_ = !is_there;
  // In an array that another process changed the index may belong to another element.
  const std::optional<std::string> array = ArrayAbove(SelectedPath());
  const bool is_news = cause == Cause::kOtherProcess && array.has_value();
  if (is_news && by_others_marks_.contains(*array)) element_gone_ = true;
  const bool had_value = value_gone_ || !values_.empty();
  FillValues();
  const auto same = std::find_if(values_.begin(), values_.end(), [this](const ValueRow& value) {
    return value.name == value_name_;
  });
  const int place = selected_value_;
  if (same != values_.end()) {
    selected_value_ = static_cast<int>(same - values_.begin());
    value_gone_ = false;
  } else if (had_value && (cause == Cause::kOtherProcess || value_gone_)) {
    selected_value_ = std::clamp(place, 0, std::max(0, static_cast<int>(values_.size()) - 1));
    value_gone_ = true;
  } else {
    SelectValue(place);
  }
}

// The first array that the path leads into, joined.
std::optional<std::string> Model::ArrayAbove(const Path& path) const {
  std::string joined;
  Value node = tree();
  for (const std::string& name : path) {
    if (node && !node.is_dictionary()) return joined;
    node = FindIn(node, {name});
    (joined += name) += '\0';
  }
  return std::nullopt;
}

void Model::FillValues() {
  values_.clear();
  if (key_gone_) return;
  const Value node = keys_[static_cast<std::size_t>(selected_key_)].node;
  const Value old_node = FindIn(base(), key_path_);
  const bool is_dictionary = node.is_dictionary();
  const std::string joined = Joined(key_path_);
  const bool in_hit = IsInHit(key_path_);
  std::vector<Child> children = ChildrenOf(node, old_node);
  if (is_dictionary) Sort(children, true);
  for (Child& child : children) {
    if (is_dictionary && child.value.is_dictionary()) continue;
    const std::string place = joined + child.name + '\0';
    if (!in_hit && !hits_.contains(place)) continue;
    values_.push_back(
        {std::move(child.name), child.value, false, MarkOf(place, child.old, child.value)});
    if (!picked_.empty()) {
      values_.back().is_picked =
          picked_.contains(PathOfValue(static_cast<int>(values_.size()) - 1));
    }
  }
}

void Model::SelectKey(int row) {
  selected_key_ = std::clamp(row, 0, static_cast<int>(keys_.size()) - 1);
  key_path_ = PathOf(selected_key_);
  key_gone_ = false;
  element_gone_ = false;
  FillValues();
  SelectValue(0);
}

void Model::SelectValue(int row) {
  selected_value_ = std::clamp(row, 0, std::max(0, static_cast<int>(values_.size()) - 1));
  value_gone_ = false;
  element_gone_ = false;
  value_name_ = values_.empty() ? "" : values_[static_cast<std::size_t>(selected_value_)].name;
}

void Model::MoveBy(int rows) {
  if (on_values_) {
    SelectValue(selected_value_ + rows);
  } else {
    SelectKey(selected_key_ + rows);
  }
}

void Model::Open(int key_row, bool open) {
  const std::string joined = Joined(PathOf(key_row));
  if (open ? !open_.insert(joined).second : open_.erase(joined) == 0) return;
  Rebuild(Cause::kUser);
}

bool Model::Reveal(const Path& path) {
  const Value target = FindIn(tree(), path);
  if (!target) return false;
  const bool is_value = !target.is_dictionary();
  const Path key(path.begin(), path.end() - (is_value ? 1 : 0));
  if (!key.empty()) InsertWithParents(open_, Path(key.begin(), key.end() - 1));
  Rebuild(Cause::kUser);
  if (!IsInHit(path) && !above_hits_.contains(Joined(path))) SetFilter("");
  SelectKey(NearestRow(key));
  for (std::size_t value = 0; is_value && value < values_.size(); ++value) {
    if (values_[value].name == path.back()) SelectValue(static_cast<int>(value));
  }
  on_values_ = is_value;
  return true;
}

bool Model::RevealChanged(int step) {
  std::set<Path> paths(by_others().begin(), by_others().end());
  for (const Change& change : changes()) paths.insert(change.path);
  for (const Conflict& conflict : conflicts()) paths.insert(conflict.path);
  if (paths.empty()) return false;
  // A removed row cannot be selected; the next jump continues after it.
  const Path here = SelectedPath() == selected_at_jump_ ? jumped_to_ : SelectedPath();
  auto next = step > 0 ? paths.upper_bound(here) : paths.lower_bound(here);
  if (step > 0 && next == paths.end()) next = paths.begin();
  if (step < 0) next = std::prev(next == paths.begin() ? paths.end() : next);
  RevealNearest(*next);
  jumped_to_ = *next;
  selected_at_jump_ = SelectedPath();
  return true;
}

const SearchIndex& Model::index() {
  if (!index_ || index_version_ != version()) {
    index_ = std::make_unique<SearchIndex>(tree());
    index_version_ = version();
  }
  return *index_;
}

void Model::SetFilter(std::string text) {
  filter_ = std::move(text);
  Rebuild(Cause::kUser);
}

void Model::UpdateFilter() {
  hits_.clear();
  above_hits_.clear();
  if (filter_.empty()) return;
  for (const std::size_t hit : index().Find(filter_)) {
    const Path path = index().PathOf(hit);
    hits_.insert(Joined(path));
    InsertWithParents(above_hits_, Path(path.begin(), path.end() - 1));
  }
}

bool Model::IsInHit(const Path& key) const {
  if (filter_.empty()) return true;
  std::string joined;
  for (const std::string& name : key) {
    (joined += name) += '\0';
    if (hits_.contains(joined)) return true;
  }
  return false;
}

void Model::SetOrder(Order order) {
  order_ = order;
  Rebuild(Cause::kUser);
}

void Model::Sort(std::vector<Child>& children, bool by_type) {
  if (order_ == Order::kType && by_type) {
    std::stable_sort(children.begin(), children.end(), [](const Child& one, const Child& other) {
      return one.value.type() < other.value.type();
    });
  } else if (order_ == Order::kSize) {
    std::stable_sort(children.begin(), children.end(),
                     [this](const Child& one, const Child& other) {
                       return SizeOf(one.value) > SizeOf(other.value);
                     });
  }
}

void Model::TogglePick() {
  const Path path = SelectedPath();
  if (path.empty() || is_gone()) return;
  if (picked_.erase(path) == 0) picked_.emplace(path, At(path));
  Rebuild(Cause::kUser);
}

std::vector<Path> Model::picked() const {
  std::vector<Path> paths;
  for (const auto& [path, value] : picked_) paths.push_back(path);
  return paths;
}

void Model::PickNone() {
  picked_.clear();
  Rebuild(Cause::kUser);
}

void Model::RevealNearest(Path path) {
  while (!Reveal(path)) path.pop_back();
}

}  // namespace orvik::prefstool::browse
