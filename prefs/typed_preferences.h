// Reading and changing preferences in C++ types.
//
// TypedPreferences works on the file behind a scope and domain, as it is on disk at the moment of
// each call (reporting.h, transaction.h). PreferenceSnapshot reads the file once; all its calls use
// what was read then.
//
//   TypedPreferences settings(u"com.example.Editor", kUserScope);
//   const std::int64_t size = settings.Integer(u"Window/Font", u"Size").value_or(12);
//   if (const PrefStatus status = settings.Set(u"Window/Font", u"Size", 14); !status.ok()) ...
//
// Key paths and names are UTF-16 (key_path.h); views are not kept. An empty key path means the
// domain's top-level entries. Values are not converted, except that Real also returns an integer.
// An integer outside the range of Integer has another type. When nothing is found, `status` (may be
// null) gets the reason:
//
//   kNotFound              the value or the file does not exist
//   kNotAKey               a value is on the key path
//   kWrongType             the value has another type
//   kDamaged, kUnreadable  the file cannot be read; reporting.h lists the other reasons
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

// The readers, for different sources of values.
class PreferenceReader {
 public:
  using View = std::u16string_view;

  // A value of any type; no value when it is not found.
  virtual PreferenceValue Value(View key_path, View name, PrefStatus* status = nullptr) const = 0;
  // A key with everything below it, as a dictionary; the whole domain for an empty key path.
  virtual PreferenceValue Key(View key_path, PrefStatus* status = nullptr) const = 0;

  // The value as a C++ type; no value when it is not found or has another type.
  //
  //   String    a string, any units           Date    a moment of the system's clock
  //   Integer   from -2^63 to 2^63 - 1        Data    bytes
  //   Real      a real, or any integer,       Array   the elements, of any types
  //             rounded to the nearest double Boolean a boolean alone
  std::optional<std::u16string> String(View key_path, View name,
                                       PrefStatus* status = nullptr) const;
  std::optional<std::int64_t> Integer(View key_path, View name, PrefStatus* status = nullptr) const;
  std::optional<double> Real(View key_path, View name, PrefStatus* status = nullptr) const;
  std::optional<bool> Boolean(View key_path, View name, PrefStatus* status = nullptr) const;
  std::optional<PreferenceDate> Date(View key_path, View name, PrefStatus* status = nullptr) const;
  std::optional<std::string> Data(View key_path, View name, PrefStatus* status = nullptr) const;
  std::optional<std::vector<PreferenceValue>> Array(View key_path, View name,
                                                    PrefStatus* status = nullptr) const;

 protected:
  PreferenceReader() = default;
  PreferenceReader(const PreferenceReader&) = default;
  PreferenceReader& operator=(const PreferenceReader&) = default;
  ~PreferenceReader() = default;
};

// A domain as it was when the object was made. Copies share memory.
class PreferenceSnapshot final : public PreferenceReader {
 public:
  explicit PreferenceSnapshot(View domain, int scope = kSharedScope);

  // Whether the domain was read; otherwise nothing is found.
  const PrefStatus& status() const { return status_; }
  // All top-level entries; no value unless status() is ok.
  const PreferenceValue& entries() const { return entries_; }

  PreferenceValue Value(View key_path, View name, PrefStatus* status = nullptr) const override;
  PreferenceValue Key(View key_path, PrefStatus* status = nullptr) const override;

 private:
  PrefStatus status_;
  PreferenceValue entries_;
};

// A domain as it is on disk at each call. Nothing is kept between calls; an object may be copied.
class TypedPreferences final : public PreferenceReader {
 public:
  // Touches no file. For an unusable scope or domain each call gives kUnknownScope or
  // kRefusedDomain.
  explicit TypedPreferences(View domain, int scope = kSharedScope);

  PreferenceValue Value(View key_path, View name, PrefStatus* status = nullptr) const override;
  PreferenceValue Key(View key_path, PrefStatus* status = nullptr) const override;

  // Each is a transaction of one change: ok() means that the file on disk holds it.
  PrefStatus Set(View key_path, View name, const PreferenceValue& value);
  // Success also when the value does not exist.
  PrefStatus Remove(View key_path, View name);
  // Removes the last key of the path with everything below it. kEmptyPath for an empty path.
  PrefStatus RemoveKey(View key_path);

 private:
  int scope_;
  CAtlString domain_;
};

}  // namespace orvik
