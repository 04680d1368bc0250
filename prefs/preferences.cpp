#include "prefs/preferences.h"

#include "platform/core_foundation/number.h"
#include "prefs/change.h"
#include "prefs/domain_store.h"
#include "prefs/key_walk.h"
#include "prefs/platform_values.h"

namespace orvik {

namespace {

// What a reader finds, or null.
CAutoCFRelease<CFTypeRef> CopyFound(int scope, const CAtlString& key_path, const CAtlString& name,
                                    const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  if (!effective.usable() || !IsKnownScope(effective.scope)) {
    return {};
  }
  const auto store = SystemStores().Open(effective, StorePurpose::kRead);
  store->Synchronize();
  const KeyPath path(key_path);
  if (path.empty()) {
    return store->CopyEntry(PlatformString(name));
  }
  const CAutoCFRelease<CFTypeRef> top = store->CopyEntry(PlatformString(path.name(1)));
  const FoundKey key = FindKey(top, path);
  if (!key.status.ok()) {
    return {};
  }
  return CAutoCFRelease<CFTypeRef>::Retaining(
      CFDictionaryGetValue(key.dictionary, PlatformString(name)));
}

bool IsNumber(CFTypeRef value) {
  return CFGetTypeID(value) == CFNumberGetTypeID();
}
bool IsString(CFTypeRef value) {
  return CFGetTypeID(value) == CFStringGetTypeID();
}

int IntValue(CFNumberRef number) {
  int value = 0;
  CFNumberGetValue(number, kCFNumberIntType, &value);
  return value;
}

CAtlString TextOfNumber(CFNumberRef number) {
  CAtlString text;
  if (CFNumberIsFloatType(number)) {
    double value = 0;
    CFNumberGetValue(number, kCFNumberDoubleType, &value);
    text.Format(u"%0.9lf", value);
  } else {
    text.Format(u"%d", IntValue(number));
  }
  return text;
}

}  // namespace

DWORD WritePreferenceString(int scope, CAtlString key_path, CAtlString name, CAtlString value,
                            CAtlString domain) {
  return WriteEntry(SystemStores(), scope, domain, KeyPath(key_path), name, PlatformString(value));
}

DWORD WritePreferenceInt(int scope, CAtlString key_path, CAtlString name, int value,
                         CAtlString domain) {
  return WriteEntry(SystemStores(), scope, domain, KeyPath(key_path), name, PlatformNumber(value));
}

CAtlString GetPreferenceString(int scope, CAtlString key_path, CAtlString name,
                               CAtlString default_value, unsigned long* error, CAtlString domain) {
  *error = kPreferenceSuccess;
  const CAutoCFRelease<CFTypeRef> value = CopyFound(scope, key_path, name, domain);
  if (value && IsString(value)) {
    return CAtlString(static_cast<CFStringRef>(value.Get()));
  }
  if (value && IsNumber(value)) {
    return TextOfNumber(static_cast<CFNumberRef>(value.Get()));
  }
  *error = kPreferenceNotFound;
  return default_value;
}

int GetPreferenceInt(int scope, CAtlString key_path, CAtlString name, int default_value,
                     unsigned long* error, CAtlString domain) {
  *error = kPreferenceSuccess;
  const CAutoCFRelease<CFTypeRef> value = CopyFound(scope, key_path, name, domain);
  if (value && IsString(value)) {
    return CFStringGetIntValue(static_cast<CFStringRef>(value.Get()));
  }
  if (value && IsNumber(value)) {
    return IntValue(static_cast<CFNumberRef>(value.Get()));
  }
  *error = kPreferenceNotFound;
  return default_value;
}

DWORD DeletePreference(int scope, CAtlString key_path, CAtlString name, CAtlString domain) {
  return DeleteEntry(SystemStores(), scope, domain, KeyPath(key_path), name);
}

DWORD RecursivePreferenceDelete(int scope, CAtlString key_path, CAtlString domain) {
  const CAtlString normalised = KeyPath(key_path).text();
  const int last = normalised.ReverseFind(u'\\');
  const CAtlString parent = last < 0 ? CAtlString() : normalised.Left(last);
  const CAtlString name = normalised.Right(normalised.GetLength() - last - 1);
  const DWORD result = DeleteEntry(SystemStores(), scope, domain, KeyPath(parent), name);
  return result == kPreferenceNotFound ? kPreferenceSuccess : result;
}

void ListPreferences(int scope, CAtlString key_path,
                     CAtlArray<CAtlString, CElementTraits<CAtlString>>& names, CAtlString domain) {
  const EffectiveDomain effective(scope, domain);
  const KeyPath path(key_path);
  if (path.empty() || !effective.usable() || !IsKnownScope(effective.scope)) {
    return;
  }
  const auto store = SystemStores().Open(effective, StorePurpose::kRead);
  const CAutoCFRelease<CFTypeRef> top = store->CopyEntry(PlatformString(path.name(1)));
  const FoundKey key = FindKey(top, path);
  if (key.status.ok()) {
    AppendNames(key.dictionary, names);
  }
}

bool IsADictionaryType(CFTypeRef value) {
  return value != nullptr && CFGetTypeID(value) == CFDictionaryGetTypeID();
}

}  // namespace orvik
