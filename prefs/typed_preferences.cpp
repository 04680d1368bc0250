#include "prefs/typed_preferences.h"

#include <utility>

#include "prefs/platform_value.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"

namespace orvik {

TypedPreferences::TypedPreferences(std::u16string_view domain, int scope)
    : scope_(scope), domain_(domain) {}

std::optional<PreferenceValue> TypedPreferences::Value(std::u16string_view key_path,
                                                       std::u16string_view name,
                                                       PrefStatus* status) const {
  PrefResult<CFTypeRef> found =
      CopyPreference(scope_, CAtlString(key_path), CAtlString(name), domain_);
  if (status != nullptr) {
    *status = std::move(found.status);
  }
  return ValueOfPlatform(found.value);
}

template <class Type>
std::optional<Type> TypedPreferences::Typed(std::u16string_view key_path,
                                            std::u16string_view name) const {
  const std::optional<PreferenceValue> value = Value(key_path, name);
  const Type* const typed = value ? value->As<Type>() : nullptr;
  return typed != nullptr ? std::optional<Type>(*typed) : std::nullopt;
}

std::optional<std::u16string> TypedPreferences::String(std::u16string_view key_path,
                                                       std::u16string_view name) const {
  return Typed<std::u16string>(key_path, name);
}

std::optional<std::int64_t> TypedPreferences::Integer(std::u16string_view key_path,
                                                      std::u16string_view name) const {
  return Typed<std::int64_t>(key_path, name);
}

std::optional<double> TypedPreferences::Real(std::u16string_view key_path,
                                             std::u16string_view name) const {
  const std::optional<PreferenceValue> value = Value(key_path, name);
  if (!value) {
    return std::nullopt;
  }
  if (const std::int64_t* const integer = value->As<std::int64_t>()) {
    return static_cast<double>(*integer);
  }
  if (const std::uint64_t* const integer = value->As<std::uint64_t>()) {
    return static_cast<double>(*integer);
  }
  const double* const real = value->As<double>();
  return real != nullptr ? std::optional<double>(*real) : std::nullopt;
}

std::optional<bool> TypedPreferences::Boolean(std::u16string_view key_path,
                                              std::u16string_view name) const {
  return Typed<bool>(key_path, name);
}

std::optional<PreferenceDate> TypedPreferences::Date(std::u16string_view key_path,
                                                     std::u16string_view name) const {
  return Typed<PreferenceDate>(key_path, name);
}

std::optional<PreferenceData> TypedPreferences::Data(std::u16string_view key_path,
                                                     std::u16string_view name) const {
  return Typed<PreferenceData>(key_path, name);
}

std::optional<PreferenceArray> TypedPreferences::Array(std::u16string_view key_path,
                                                       std::u16string_view name) const {
  return Typed<PreferenceArray>(key_path, name);
}

std::optional<PreferenceDictionary> TypedPreferences::Key(std::u16string_view key_path,
                                                          PrefStatus* status) const {
  PrefResult<CFDictionaryRef> found = CopyPreferenceKey(scope_, CAtlString(key_path), domain_);
  if (status != nullptr) {
    *status = std::move(found.status);
  }
  const std::optional<PreferenceValue> value = ValueOfPlatform(found.value.Get());
  return value ? std::optional(*value->As<PreferenceDictionary>()) : std::nullopt;
}

PrefStatus TypedPreferences::Set(std::u16string_view key_path, std::u16string_view name,
                                 const PreferenceValue& value) {
  Transaction change(scope_, domain_);
  change.Set(CAtlString(key_path), CAtlString(name), PlatformOf(value));
  return change.Commit();
}

PrefStatus TypedPreferences::Remove(std::u16string_view key_path, std::u16string_view name) {
  Transaction change(scope_, domain_);
  change.Delete(CAtlString(key_path), CAtlString(name));
  return change.Commit();
}

PrefStatus TypedPreferences::RemoveKey(std::u16string_view key_path) {
  Transaction change(scope_, domain_);
  change.DeleteKey(CAtlString(key_path));
  return change.Commit();
}

}  // namespace orvik
