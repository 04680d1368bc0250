#include "prefs/preferences.h"

#include <utility>

#include "prefs/change.h"
#include "prefs/domain_store.h"
#include "prefs/key_walk.h"
#include "prefs/platform_values.h"
#include "prefs/value_conversion.h"

namespace orvik {

namespace {

// What a reader finds, or null.
CAutoCFRelease<CFTypeRef> CopyFound(int scope, const KeyPath& path, const CAtlString& name,
                                    const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  if (!effective.usable() || !IsKnownScope(effective.scope)) {
    return {};
  }
  const auto store = OpenStore(effective, domain, StorePurpose::kRead);
  static_cast<void>(store->Synchronize());
  return std::move(FindValueIn(*store, path, name).value);
}

}  // namespace

DWORD WritePreferenceString(int scope, CAtlString key_path, CAtlString name, CAtlString value,
                            CAtlString domain) {
  return WriteEntry(scope, domain, KeyPath(key_path), name, PlatformString(value));
}

DWORD WritePreferenceInt(int scope, CAtlString key_path, CAtlString name, int value,
                         CAtlString domain) {
  return WriteEntry(scope, domain, KeyPath(key_path), name, PlatformNumber(value));
}

CAtlString GetPreferenceString(int scope, CAtlString key_path, CAtlString name,
                               CAtlString default_value, unsigned long* error, CAtlString domain) {
  *error = kPreferenceSuccess;
  if (auto text = TextOfValue(CopyFound(scope, key_path, name, domain))) {
    return *std::move(text);
  }
  *error = kPreferenceNotFound;
  return default_value;
}

int GetPreferenceInt(int scope, CAtlString key_path, CAtlString name, int default_value,
                     unsigned long* error, CAtlString domain) {
  *error = kPreferenceSuccess;
  if (const auto value = IntOfValue(CopyFound(scope, key_path, name, domain))) {
    return *value;
  }
  *error = kPreferenceNotFound;
  return default_value;
}

DWORD DeletePreference(int scope, CAtlString key_path, CAtlString name, CAtlString domain) {
  return DeleteEntry(scope, domain, KeyPath(key_path), name);
}

DWORD RecursivePreferenceDelete(int scope, CAtlString key_path, CAtlString domain) {
  const CAtlString normalised = KeyPath(key_path).text();
  const int last = normalised.ReverseFind(u'\\');
  const CAtlString parent = last < 0 ? CAtlString() : normalised.Left(last);
  const CAtlString name = normalised.Right(normalised.GetLength() - last - 1);
  const DWORD result = DeleteEntry(scope, domain, KeyPath(parent), name);
  return result == kPreferenceNotFound ? kPreferenceSuccess : result;
}

void ListPreferences(int scope, CAtlString key_path,
                     CAtlArray<CAtlString, CElementTraits<CAtlString>>& names, CAtlString domain) {
  const EffectiveDomain effective(scope, domain);
  const KeyPath path(key_path);
  if (path.empty() || !effective.usable() || !IsKnownScope(effective.scope)) {
    return;
  }
  const auto store = OpenStore(effective, domain, StorePurpose::kRead);
  const FoundValue key = FindKeyIn(*store, path);
  if (key.status.ok()) {
    AppendNames(static_cast<CFDictionaryRef>(key.value.Get()), names);
  }
}

}  // namespace orvik
