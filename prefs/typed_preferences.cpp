#include "prefs/typed_preferences.h"

#include <utility>

#include "prefs/key_walk.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"

namespace orvik {

using plist::Type;

namespace {

// An integer that fits; one above 2^63 - 1 is of another type here.
std::optional<std::int64_t> SignedInteger(const PreferenceValue& value) {
  return value.type() == Type::kInteger && !value.integer().is_unsigned
             ? std::optional(static_cast<std::int64_t>(value.integer().bits))
             : std::nullopt;
}

// A real, or an integer of any kind as the nearest double.
std::optional<double> AnyNumber(const PreferenceValue& value) {
  if (value.type() == Type::kReal) {
    return value.real();
  }
  if (const auto integer = SignedInteger(value)) {
    return static_cast<double>(*integer);
  }
  return value.type() == Type::kInteger ? std::optional(static_cast<double>(value.integer().bits))
                                        : std::nullopt;
}

// The value after `convert`; nothing, and kWrongType, when it has another type.
template <class Convert>
auto Converted(const PreferenceReader& reader, std::u16string_view key_path,
               std::u16string_view name, PrefStatus* status, Convert convert) {
  const PreferenceValue value = reader.Value(key_path, name, status);
  auto result = convert(value);
  if (value && !result && status != nullptr) {
    *status = {PrefError::kWrongType};
  }
  return result;
}

// Hands the status over, if it is wanted, and the value.
PreferenceValue ValueAndStatus(PrefStatus found, PreferenceValue value, PrefStatus* status) {
  if (status != nullptr) {
    *status = std::move(found);
  }
  return value;
}

}  // namespace

std::optional<std::u16string> PreferenceReader::String(std::u16string_view key_path,
                                                       std::u16string_view name,
                                                       PrefStatus* status) const {
  return Converted(*this, key_path, name, status, [](const PreferenceValue& value) {
    return value.is_string() ? std::optional(value.text().ToUnits()) : std::nullopt;
  });
}

std::optional<std::int64_t> PreferenceReader::Integer(std::u16string_view key_path,
                                                      std::u16string_view name,
                                                      PrefStatus* status) const {
  return Converted(*this, key_path, name, status, SignedInteger);
}

std::optional<double> PreferenceReader::Real(std::u16string_view key_path, std::u16string_view name,
                                             PrefStatus* status) const {
  return Converted(*this, key_path, name, status, AnyNumber);
}

std::optional<bool> PreferenceReader::Boolean(std::u16string_view key_path,
                                              std::u16string_view name, PrefStatus* status) const {
  return Converted(*this, key_path, name, status, [](const PreferenceValue& value) {
    return value.type() == Type::kBoolean ? std::optional(value.boolean()) : std::nullopt;
  });
}

std::optional<PreferenceDate> PreferenceReader::Date(std::u16string_view key_path,
                                                     std::u16string_view name,
                                                     PrefStatus* status) const {
  return Converted(*this, key_path, name, status, [](const PreferenceValue& value) {
    return value.type() == Type::kDate ? std::optional(value.time()) : std::nullopt;
  });
}

std::optional<std::string> PreferenceReader::Data(std::u16string_view key_path,
                                                  std::u16string_view name,
                                                  PrefStatus* status) const {
  return Converted(*this, key_path, name, status, [](const PreferenceValue& value) {
    return value.type() == Type::kData ? std::optional(*value.data()) : std::nullopt;
  });
}

std::optional<std::vector<PreferenceValue>> PreferenceReader::Array(std::u16string_view key_path,
                                                                    std::u16string_view name,
                                                                    PrefStatus* status) const {
  return Converted(*this, key_path, name, status, [](const PreferenceValue& value) {
    return value.is_array() ? std::optional(value.elements()) : std::nullopt;
  });
}

PreferenceSnapshot::PreferenceSnapshot(std::u16string_view domain, int scope) {
  PrefValue read = ReadDomain(scope, CAtlString(domain));
  status_ = std::move(read.status);
  entries_ = std::move(read.value);
}

PreferenceValue PreferenceSnapshot::Value(std::u16string_view key_path, std::u16string_view name,
                                          PrefStatus* status) const {
  FoundValue found{status_, {}};
  if (status_.ok()) {
    found = FindValue(entries_, KeyPath(CAtlString(key_path)), CAtlString(name));
  }
  return ValueAndStatus(std::move(found.status), std::move(found.value), status);
}

PreferenceValue PreferenceSnapshot::Key(std::u16string_view key_path, PrefStatus* status) const {
  FoundValue found{status_, {}};
  if (status_.ok()) {
    found = FindKey(entries_, KeyPath(CAtlString(key_path)));
  }
  return ValueAndStatus(std::move(found.status), std::move(found.value), status);
}

TypedPreferences::TypedPreferences(std::u16string_view domain, int scope)
    : scope_(scope), domain_(domain) {}

PreferenceValue TypedPreferences::Value(std::u16string_view key_path, std::u16string_view name,
                                        PrefStatus* status) const {
  PrefValue found = ReadPreference(scope_, CAtlString(key_path), CAtlString(name), domain_);
  return ValueAndStatus(std::move(found.status), std::move(found.value), status);
}

PreferenceValue TypedPreferences::Key(std::u16string_view key_path, PrefStatus* status) const {
  PrefValue found = ReadPreferenceKey(scope_, CAtlString(key_path), domain_);
  return ValueAndStatus(std::move(found.status), std::move(found.value), status);
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
