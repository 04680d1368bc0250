// Reading and changing preferences in C++ types.
//
// The operations are those of reporting.h and transaction.h, on the file behind the scope and
// domain as it lies on disk at that moment. Key paths and names are UTF-16 (key_path.h); views are
// not kept. A value of another type than the one that is asked for is not found: nothing is
// converted, except that an integer is found as a real, too.
//
//   TypedPreferences settings(u"com.example.Editor", kUserScope);
//   const std::int64_t size = settings.Integer(u"Window/Font", u"Size").value_or(12);
//   if (const PrefStatus status = settings.Set(u"Window/Font", u"Size", 14); !status.ok()) ...
//
// Several threads may use one object.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/value.h"
#include "prefs/pref_status.h"
#include "prefs/scope.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// A value of any type (plist/value.h).
using PreferenceValue = plist::Value;
using PreferenceDate = plist::Time;

class TypedPreferences {
 public:
  explicit TypedPreferences(std::u16string_view domain, int scope = kSharedScope);

  // No value when there is none, or when it cannot be read; `status`, unless null, says why. An
  // empty key path looks among the domain's top-level entries.
  PreferenceValue Value(std::u16string_view key_path, std::u16string_view name,
                        PrefStatus* status = nullptr) const;
  std::optional<std::u16string> String(std::u16string_view key_path,
                                       std::u16string_view name) const;
  std::optional<std::int64_t> Integer(std::u16string_view key_path, std::u16string_view name) const;
  std::optional<double> Real(std::u16string_view key_path, std::u16string_view name) const;
  std::optional<bool> Boolean(std::u16string_view key_path, std::u16string_view name) const;
  std::optional<PreferenceDate> Date(std::u16string_view key_path, std::u16string_view name) const;
  std::optional<std::string> Data(std::u16string_view key_path, std::u16string_view name) const;
  std::optional<std::vector<PreferenceValue>> Array(std::u16string_view key_path,
                                                    std::u16string_view name) const;

  // A key with everything below it, as a dictionary; the whole domain for an empty key path.
  PreferenceValue Key(std::u16string_view key_path, PrefStatus* status = nullptr) const;

  // Each is a transaction of one change: ok() means that the file on disk holds it.
  PrefStatus Set(std::u16string_view key_path, std::u16string_view name,
                 const PreferenceValue& value);
  // Success also when there is nothing to remove.
  PrefStatus Remove(std::u16string_view key_path, std::u16string_view name);
  PrefStatus RemoveKey(std::u16string_view key_path);

 private:
  int scope_;
  CAtlString domain_;
};

}  // namespace orvik
