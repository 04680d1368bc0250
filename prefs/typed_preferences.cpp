#include "prefs/typed_preferences.h"

#include <utility>

#include "prefs/key_walk.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"

namespace orvik {

using plist::Type;
using View = std::u16string_view;

namespace {

// An integer that fits; one above 2^63 - 1 counts as another type.
std::optional<std::int64_t> SignedInteger(const PreferenceValue& value) {
  return value.type() == Type::kInteger && !value.integer().is_unsigned
             ? std::optional(static_cast<std::int64_t>(value.integer().bits))
             : std::nullopt;
}

// A real, or an integer of any kind as the nearest double.
std::optional<double> AnyNumber(const PreferenceValue& value) {
  if (value.type() == Type::kReal) return value.real();
  if (const auto integer = SignedInteger(value)) return static_cast<double>(*integer);
  return value.type() == Type::kInteger ? std::optional(static_cast<double>(value.integer().bits))
                                        : std::nullopt;
}

// The value converted by `convert`. If it has another type, no value and kWrongType.
template <class Convert>
auto Converted(const PreferenceReader& reader, View key_path, View name, PrefStatus* status,
               Convert convert) {
  const PreferenceValue value = reader.Value(key_path, name, status);
  auto result = convert(value);
  if (value && !result && status != nullptr) *status = {PrefError::kWrongType};
  return result;
}

// Converts a value of the given type with `get`.
template <class Get>
auto OfType(Type type, Get get) {
  return [=](const PreferenceValue& value) {
    return value.type() == type ? std::optional(get(value)) : std::nullopt;
  };
}

// Stores the status unless `status` is null, and returns the value.
PreferenceValue ValueAndStatus(PrefValue found, PrefStatus* status) {
  if (status != nullptr) *status = std::move(found.status);
  return std::move(found.value);
}

}  // namespace

std::optional<std::u16string> PreferenceReader::String(View key_path, View name,
                                                       PrefStatus* status) const {
  const auto units = [](const PreferenceValue& value) { return value.text().ToUnits(); };
  return Converted(*this, key_path, name, status, OfType(Type::kString, units));
}

std::optional<std::int64_t> PreferenceReader::Integer(View key_path, View name,
                                                      PrefStatus* status) const {
  return Converted(*this, key_path, name, status, SignedInteger);
}

std::optional<double> PreferenceReader::Real(View key_path, View name, PrefStatus* status) const {
  return Converted(*this, key_path, name, status, AnyNumber);
}

std::optional<bool> PreferenceReader::Boolean(View key_path, View name, PrefStatus* status) const {
  const auto boolean = [](const PreferenceValue& value) { return value.boolean(); };
  return Converted(*this, key_path, name, status, OfType(Type::kBoolean, boolean));
}

std::optional<PreferenceDate> PreferenceReader::Date(View key_path, View name,
                                                     PrefStatus* status) const {
  const auto time = [](const PreferenceValue& value) { return value.time(); };
  return Converted(*this, key_path, name, status, OfType(Type::kDate, time));
}

std::optional<std::string> PreferenceReader::Data(View key_path, View name,
                                                  PrefStatus* status) const {
  const auto bytes = [](const PreferenceValue& value) { return *value.data(); };
  return Converted(*this, key_path, name, status, OfType(Type::kData, bytes));
}

std::optional<std::vector<PreferenceValue>> PreferenceReader::Array(View key_path, View name,
                                                                    PrefStatus* status) const {
  const auto elements = [](const PreferenceValue& value) { return value.elements(); };
  return Converted(*this, key_path, name, status, OfType(Type::kArray, elements));
}

PreferenceSnapshot::PreferenceSnapshot(View domain, int scope) {
  PrefValue read = ReadDomain(scope, CAtlString(domain));
  status_ = std::move(read.status);
  entries_ = std::move(read.value);
}

PreferenceValue PreferenceSnapshot::Value(View key_path, View name, PrefStatus* status) const {
  const PrefValue all{status_, entries_};
  return ValueAndStatus(all.ok() ? FindValue(entries_, key_path, name) : all, status);
}

PreferenceValue PreferenceSnapshot::Key(View key_path, PrefStatus* status) const {
  const PrefValue all{status_, entries_};
  return ValueAndStatus(all.ok() ? FindKey(entries_, key_path) : all, status);
}

TypedPreferences::TypedPreferences(View domain, int scope) : scope_(scope), domain_(domain) {}

PreferenceValue TypedPreferences::Value(View key_path, View name, PrefStatus* status) const {
  return ValueAndStatus(ReadPreference(scope_, key_path, name, domain_), status);
}

PreferenceValue TypedPreferences::Key(View key_path, PrefStatus* status) const {
  return ValueAndStatus(ReadPreferenceKey(scope_, key_path, domain_), status);
}

PrefStatus TypedPreferences::Set(View key_path, View name, const PreferenceValue& value) {
  Transaction change(scope_, domain_);
  change.Set(key_path, name, value);
  return change.Commit();
}

PrefStatus TypedPreferences::Remove(View key_path, View name) {
  Transaction change(scope_, domain_);
  change.Delete(key_path, name);
  return change.Commit();
}

PrefStatus TypedPreferences::RemoveKey(View key_path) {
  Transaction change(scope_, domain_);
  change.DeleteKey(key_path);
  return change.Commit();
}

}  // namespace orvik
