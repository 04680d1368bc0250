#include "prefs/preference_watch.h"

#include <utility>

#include "host/file_watch.h"
#include "prefs/reporting.h"
#include "prefs/typed_preferences.h"

namespace orvik {

namespace {

using Path = std::vector<std::u16string>;

enum class Side { kBefore, kAfter };

const PreferenceDictionary* AsKey(const PreferenceValue& value) {
  return value.As<PreferenceDictionary>();
}

// Every value of a tree that only one side has.
void AddAll(Side side, Path& path, const PreferenceValue& value,
            std::vector<PreferenceChange>& changes) {
  const PreferenceDictionary* const key = AsKey(value);
  if (key == nullptr || key->empty()) {
    PreferenceChange& change = changes.emplace_back();
    change.path = path;
    (side == Side::kBefore ? change.before : change.after) = value;
    return;
  }
  for (const auto& [name, inner] : *key) {
    path.push_back(name);
    AddAll(side, path, inner, changes);
    path.pop_back();
  }
}

void Compare(Path& path, const PreferenceDictionary& before, const PreferenceDictionary& after,
             std::vector<PreferenceChange>& changes) {
  auto old = before.begin();
  auto now = after.begin();
  while (old != before.end() || now != after.end()) {
    const int order = now == after.end()    ? -1
                      : old == before.end() ? 1
                                            : old->first.compare(now->first);
    path.push_back(order <= 0 ? old->first : now->first);
    if (order < 0) {
      AddAll(Side::kBefore, path, (old++)->second, changes);
    } else if (order > 0) {
      AddAll(Side::kAfter, path, (now++)->second, changes);
    } else {
      const PreferenceDictionary* const old_key = AsKey(old->second);
      const PreferenceDictionary* const new_key = AsKey(now->second);
      if (old_key != nullptr && new_key != nullptr) {
        Compare(path, *old_key, *new_key, changes);
      } else if (old_key != nullptr || new_key != nullptr) {
        AddAll(Side::kBefore, path, old->second, changes);
        AddAll(Side::kAfter, path, now->second, changes);
      } else if (old->second != now->second) {
        changes.push_back({path, old->second, now->second});
      }
      ++old;
      ++now;
    }
    path.pop_back();
  }
}

}  // namespace

std::vector<PreferenceChange> ChangesBetween(const PreferenceDictionary& before,
                                             const PreferenceDictionary& after) {
  std::vector<PreferenceChange> changes;
  Path path;
  Compare(path, before, after, changes);
  return changes;
}

struct PreferenceWatch::State {
  State(int scope, std::u16string_view watched_key, std::u16string_view domain)
      : preferences(domain, scope),
        key_path(watched_key),
        watch(PreferenceFilePath(scope, CAtlString(domain))) {}

  // Reads the values; those of a file that cannot be read stay as they are.
  void Read() {
    std::optional<PreferenceDictionary> found = preferences.Key(key_path, &status);
    if (found || status.error == PrefError::kNotFound || status.error == PrefError::kNotAKey) {
      values = found ? *std::move(found) : PreferenceDictionary();
      status = PrefStatus::Ok();
    }
    if (status.ok() && !watch.ok()) {
      status = {PrefError::kNotPermitted};
    }
  }

  TypedPreferences preferences;
  std::u16string key_path;
  // Watching begins before the first reading, so that no change falls between them.
  host::FileWatch watch;
  PrefStatus status;
  PreferenceDictionary values;
};

PreferenceWatch::PreferenceWatch(int scope, std::u16string_view key_path,
                                 std::u16string_view domain)
    : state_(std::make_unique<State>(scope, key_path, domain)) {
  state_->Read();
}

PreferenceWatch::~PreferenceWatch() = default;
PreferenceWatch::PreferenceWatch(PreferenceWatch&&) noexcept = default;
PreferenceWatch& PreferenceWatch::operator=(PreferenceWatch&&) noexcept = default;

const PrefStatus& PreferenceWatch::status() const {
  return state_->status;
}

int PreferenceWatch::descriptor() const {
  return state_->watch.descriptor();
}

std::vector<PreferenceChange> PreferenceWatch::TakeChanges() {
  if (!state_->watch.TakeChanges()) {
    return {};
  }
  const PreferenceDictionary before = state_->values;
  state_->Read();
  return ChangesBetween(before, state_->values);
}

const PreferenceDictionary& PreferenceWatch::values() const {
  return state_->values;
}

}  // namespace orvik
