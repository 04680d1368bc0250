#include "prefs/preference_watch.h"

#include <utility>

#include "host/file_watch.h"
#include "prefs/reporting.h"

namespace orvik {

struct PreferenceWatch::State {
  State(int watched_scope, std::u16string_view watched_key, std::u16string_view watched_domain)
      : scope(watched_scope),
        key_path(CAtlString(watched_key)),
        domain(watched_domain),
        watch(PreferenceFilePath(scope, domain)) {}

  // Reads the values; if the file cannot be read, they stay as they are.
  void Read() {
    PrefValue found = ReadPreferenceKey(scope, key_path, domain);
    status = std::move(found.status);
    const bool is_missing =
        status.error == PrefError::kNotFound || status.error == PrefError::kNotAKey;
    if (status.ok() || is_missing) {
      values = is_missing ? plist::Value::Dictionary() : std::move(found.value);
      status = PrefStatus::Ok();
    }
    if (status.ok() && !watch.ok()) status = {PrefError::kNotPermitted};
  }

  int scope;
  KeyPath key_path;
  CAtlString domain;
  // Watching begins before the first reading, so that no change is missed between them.
  host::FileWatch watch;
  PrefStatus status;
  plist::Value values = plist::Value::Dictionary();
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
  if (!state_->watch.TakeChanges()) return {};
  const plist::Value before = state_->values;
  state_->Read();
  return plist::FindDifferences(before, state_->values);
}

const plist::Value& PreferenceWatch::values() const {
  return state_->values;
}

}  // namespace orvik
