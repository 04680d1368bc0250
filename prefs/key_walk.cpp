#include "prefs/key_walk.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/string.h"
#include "plist/forms.h"
#include "strings/auto_release.h"
#include "strings/utf8_strings.h"

namespace orvik {

namespace {

// The value of the first `count` components is not a dictionary.
PrefValue NotAKey(const KeyPath& path, int count) {
  std::string way;
  for (int i = 1; i <= count; ++i) AddToWay(way, path.name(i));
  return {{.error = PrefError::kNotAKey, .path = std::move(way)}, {}};
}

// Follows the components of the path from `first` on.
PrefValue FindBelow(const plist::Value* dictionary, const KeyPath& path, int first) {
  for (int i = first; i <= path.count(); ++i) {
    dictionary = dictionary->Find(path.name(i));
    if (dictionary == nullptr) return {{PrefError::kNotFound}, {}};
    if (!dictionary->is_dictionary()) return NotAKey(path, i);
  }
  return {{}, *dictionary};
}

PrefValue EntryIn(const PrefValue& key, const CAtlString& name) {
  if (!key.status.ok()) return key;
  const plist::Value* const value = key.value.Find(name);
  return value == nullptr ? PrefValue{{PrefError::kNotFound}, {}} : PrefValue{{}, *value};
}

// Changes a domain's entries in place. Sets *changed if they differ now.
PrefStatus ChangeBelow(plist::Value& root, const KeyPath& path, const CAtlString& name,
                       const plist::Value& value, MissingKeys missing, bool* changed) {
  {
    // The block releases this reference: otherwise the change would copy the dictionary.
    const PrefValue key = FindKey(root, path);
    if (key.status.error == PrefError::kNotAKey ||
        (!key.status.ok() && missing == MissingKeys::kFail)) {
      return key.status;
    }
    if (key.status.ok()) {
      const plist::Value* const present = key.value.Find(name);
      if (present == nullptr ? !value : *present == value) return PrefStatus::Ok();
    }
  }
  plist::Value* innermost = &root;
  for (int i = 1; i <= path.count(); ++i) {
    const plist::Text step = path.name(i);
    if (innermost->Find(step) == nullptr) innermost->Set(step, plist::Value::Dictionary());
    innermost = innermost->Change(step);
  }
  if (value) {
    innermost->Set(name, value);
  } else {
    innermost->Remove(name);
  }
  *changed = true;
  return PrefStatus::Ok();
}

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

// The nearest 32-bit number; a real loses its fraction, and NaN becomes 0.
int IntOfNumber(const plist::Value& value) {
  if (value.type() == plist::Type::kReal) {
    const double real = value.real();
    return std::isnan(real) ? 0 : static_cast<int>(std::clamp(real, double{kLeast}, double{kMost}));
  }
  const plist::Integer integer = value.integer();
  if (integer.is_unsigned) return kMost;
  const auto number = static_cast<std::int64_t>(integer.bits);
  return static_cast<int>(std::clamp<std::int64_t>(number, kLeast, kMost));
}

}  // namespace

PrefValue FindKey(const plist::Value& root, const KeyPath& path) {
  return FindBelow(&root, path, 1);
}

PrefValue FindValue(const plist::Value& root, const KeyPath& path, const CAtlString& name) {
  return EntryIn(FindKey(root, path), name);
}

PrefValue FindKeyIn(DomainStore& store, const KeyPath& path) {
  const plist::Value entry = store.Entry(path.name(1));
  if (!entry) return {{PrefError::kNotFound}, {}};
  return entry.is_dictionary() ? FindBelow(&entry, path, 2) : NotAKey(path, 1);
}

PrefValue FindValueIn(DomainStore& store, const KeyPath& path, const CAtlString& name) {
  if (!path.empty()) return EntryIn(FindKeyIn(store, path), name);
  const plist::Value entry = store.Entry(name);
  return {{entry ? PrefError::kNone : PrefError::kNotFound}, entry};
}

bool IsTooDeep(const KeyPath& path) {
  return static_cast<std::size_t>(path.count()) >= plist::kMaximumDepth;
}

void AddToWay(std::string& way, std::string_view step) {
  if (!way.empty() && !step.empty()) way += '/';
  way += step;
}

void AddToWay(std::string& way, const CAtlString& name) {
  AddToWay(way, MakeUTF8StringFromUnicodeString(name).View());
}

std::string WayOf(const KeyPath& path) {
  std::string way;
  for (int i = 1; i <= path.count(); ++i) AddToWay(way, path.name(i));
  return way;
}

PrefStatus NotSerializable(const KeyPath& path, const CAtlString* name, const plist::Value& value) {
  std::string way = WayOf(path);
  if (name != nullptr) AddToWay(way, *name);
  AddToWay(way, plist::FindFault(value).value_or(std::string()));
  return {.error = PrefError::kNotSerializable, .path = std::move(way)};
}

// A store with its own entries is changed in place. From other stores the whole top-level entry is
// taken, changed and set again, because the platform's preferences store whole entries.
PrefStatus ApplyChange(DomainStore& store, const KeyPath& path, const CAtlString& name,
                       const plist::Value& value, MissingKeys missing) {
  if (path.empty()) return store.SetEntry(name, value);
  if (value && IsTooDeep(path)) return NotSerializable(path, &name, value);
  bool changed = false;
  if (plist::Value* const entries = store.EntriesToChange()) {
    PrefStatus status = ChangeBelow(*entries, path, name, value, missing, &changed);
    if (changed) store.NoteChange();
    return status;
  }
  const plist::Text top_name = path.name(1);
  plist::Value top = plist::Value::Dictionary();
  if (plist::Value entry = store.Entry(top_name)) top.Set(top_name, std::move(entry));
  const PrefStatus status = ChangeBelow(top, path, name, value, missing, &changed);
  return status.ok() ? store.SetEntry(top_name, *top.Find(top_name)) : status;
}

std::optional<CAtlString> TextOfValue(const plist::Value& value) {
  CAtlString text;
  switch (value.type()) {
    case plist::Type::kString:
      return CAtlString(std::u16string_view(value.text().ToUnits()));
    case plist::Type::kReal:
      text.Format(u"%0.9lf", value.real());
      return text;
    case plist::Type::kInteger:
      text.Format(u"%d", IntOfNumber(value));
      return text;
    default:
      return std::nullopt;
  }
}

std::optional<int> IntOfValue(const plist::Value& value) {
  switch (value.type()) {
    case plist::Type::kString: {
      const CAutoCFRelease<CFTypeRef> string(CreateObject(value, kCFPropertyListImmutable));
      return CFStringGetIntValue(static_cast<CFStringRef>(string.Get()));
    }
    case plist::Type::kReal:
    case plist::Type::kInteger:
      return IntOfNumber(value);
    default:
      return std::nullopt;
  }
}

}  // namespace orvik
