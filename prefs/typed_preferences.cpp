#include "prefs/typed_preferences.h"

#include <utility>

#include "prefs/reporting.h"
#include "prefs/transaction.h"

namespace orvik {

using plist::Type;

TypedPreferences::TypedPreferences(std::u16string_view domain, int scope)
    : scope_(scope), domain_(domain) {}

PreferenceValue TypedPreferences::Value(std::u16string_view key_path, std::u16string_view name,
                                        PrefStatus* status) const {
  PrefValue found = ReadPreference(scope_, CAtlString(key_path), CAtlString(name), domain_);
  if (status != nullptr) {
    *status = std::move(found.status);
  }
  return std::move(found.value);
}

std::optional<std::u16string> TypedPreferences::String(std::u16string_view key_path,
                                                       std::u16string_view name) const {
  const PreferenceValue value = Value(key_path, name);
  return value.is_string() ? std::optional(value.text().ToUnits()) : std::nullopt;
}

std::optional<std::int64_t> TypedPreferences::Integer(std::u16string_view key_path,
                                                      std::u16string_view name) const {
  const PreferenceValue value = Value(key_path, name);
  return value.type() == Type::kInteger && !value.integer().is_unsigned
             ? std::optional(static_cast<std::int64_t>(value.integer().bits))
             : std::nullopt;
}

std::optional<double> TypedPreferences::Real(std::u16string_view key_path,
                                             std::u16string_view name) const {
  const PreferenceValue value = Value(key_path, name);
  if (value.type() == Type::kReal) {
    return value.real();
  }
  if (value.type() != Type::kInteger) {
    return std::nullopt;
  }
  const plist::Integer integer = value.integer();
  return integer.is_unsigned ? static_cast<double>(integer.bits)
                             : static_cast<double>(static_cast<std::int64_t>(integer.bits));
}

std::optional<bool> TypedPreferences::Boolean(std::u16string_view key_path,
                                              std::u16string_view name) const {
  const PreferenceValue value = Value(key_path, name);
  return value.type() == Type::kBoolean ? std::optional(value.boolean()) : std::nullopt;
}

std::optional<PreferenceDate> TypedPreferences::Date(std::u16string_view key_path,
                                                     std::u16string_view name) const {
  const PreferenceValue value = Value(key_path, name);
  return value.type() == Type::kDate ? std::optional(value.time()) : std::nullopt;
}

std::optional<std::string> TypedPreferences::Data(std::u16string_view key_path,
                                                  std::u16string_view name) const {
  const PreferenceValue value = Value(key_path, name);
  return value.type() == Type::kData ? std::optional(*value.data()) : std::nullopt;
}

std::optional<std::vector<PreferenceValue>> TypedPreferences::Array(
    std::u16string_view key_path, std::u16string_view name) const {
  const PreferenceValue value = Value(key_path, name);
  return value.is_array() ? std::optional(value.elements()) : std::nullopt;
}

PreferenceValue TypedPreferences::Key(std::u16string_view key_path, PrefStatus* status) const {
  PrefValue found = ReadPreferenceKey(scope_, CAtlString(key_path), domain_);
  if (status != nullptr) {
    *status = std::move(found.status);
  }
  return std::move(found.value);
}

PrefStatus TypedPreferences::Set(std::u16string_view key_path, std::u16string_view name,
                                 const PreferenceValue& value) {
  Transaction change(scope_, domain_);
  change.Set(CAtlString(key_path), CAtlString(name), value);
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
