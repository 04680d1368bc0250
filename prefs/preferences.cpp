#include "prefs/preferences.h"

#include <stdlib.h>

#include <utility>

#include "platform/carbon/folders.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/errno_status.h"
#include "prefs/domain_store.h"
#include "prefs/key_walk.h"
#include "strings/utf8_strings.h"

namespace orvik {

namespace {

// The value for a reader, or no value.
plist::Value FindPreference(int scope, const KeyPath& path, const CAtlString& name,
                            const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  if (!CheckAddress(effective).ok()) return {};
  const auto store = OpenStore(effective, StorePurpose::kRead);
  static_cast<void>(store->Synchronize());
  return std::move(FindValueIn(*store, path, name).value);
}

// A failure to save does not change the result; `save_error` receives it as an error number.
DWORD ChangeEntryOnce(const EffectiveDomain& effective, const KeyPath& path, const CAtlString& name,
                      const plist::Value& value, int& save_error) {
  const bool writes = static_cast<bool>(value);
  const auto store =
      OpenStore(effective, writes && !path.empty() ? StorePurpose::kCreate : StorePurpose::kChange);
  if (store == nullptr) return kPreferenceLockNotObtained;
  if (writes) static_cast<void>(store->Synchronize());
  const PrefStatus status =
      ApplyChange(*store, path, name, value, writes ? MissingKeys::kMake : MissingKeys::kFail);
  if (status.error == PrefError::kNotAKey || status.error == PrefError::kNotFound) {
    return writes ? kPreferenceBadKey : kPreferenceNotFound;
  }
  if (status.ok()) save_error = store->Save().error_number;
  return kPreferenceSuccess;
}

// All writers and deleters change a value through this function; no value removes it.
DWORD ChangeEntry(int scope, const CAtlString& domain, const KeyPath& path, const CAtlString& name,
                  const plist::Value& value) {
  const EffectiveDomain effective(scope, domain);
  if (!IsKnownScope(effective.scope)) {
    return value || path.empty() ? kPreferenceSuccess : kPreferenceNotFound;
  }
  if (!effective.usable()) return kPreferenceInvalidDomain;
  if (value && IsTooDeep(path)) return kPreferenceBadKey;
  DWORD result = kPreferenceSuccess;
  plist::RepeatWhileMade([&] {
    int save_error = 0;
    result = ChangeEntryOnce(effective, path, name, value, save_error);
    return save_error;
  });
  return result;
}

}  // namespace

DWORD WritePreferenceString(int scope, CAtlString key_path, CAtlString name, CAtlString value,
                            CAtlString domain) {
  return ChangeEntry(scope, domain, KeyPath(key_path), name, value.View());
}

DWORD WritePreferenceInt(int scope, CAtlString key_path, CAtlString name, int value,
                         CAtlString domain) {
  return ChangeEntry(scope, domain, KeyPath(key_path), name, value);
}

CAtlString GetPreferenceString(int scope, CAtlString key_path, CAtlString name,
                               CAtlString default_value, unsigned long* error, CAtlString domain) {
  *error = kPreferenceSuccess;
  if (auto text = TextOfValue(FindPreference(scope, key_path, name, domain))) {
    return *std::move(text);
  }
  *error = kPreferenceNotFound;
  return default_value;
}

int GetPreferenceInt(int scope, CAtlString key_path, CAtlString name, int default_value,
                     unsigned long* error, CAtlString domain) {
  *error = kPreferenceSuccess;
  if (const auto value = IntOfValue(FindPreference(scope, key_path, name, domain))) return *value;
  *error = kPreferenceNotFound;
  return default_value;
}

DWORD DeletePreference(int scope, CAtlString key_path, CAtlString name, CAtlString domain) {
  return ChangeEntry(scope, domain, KeyPath(key_path), name, {});
}

// Split before the rest is normalised again (preferences.h): the parent of "A//B" is "A".
DWORD RecursivePreferenceDelete(int scope, CAtlString key_path, CAtlString domain) {
  const CAtlString normalised = KeyPath(key_path).text();
  const int last = normalised.ReverseFind(u'\\');
  const CAtlString parent = last < 0 ? CAtlString() : normalised.Left(last);
  const CAtlString name = normalised.Right(normalised.GetLength() - last - 1);
  const DWORD result = ChangeEntry(scope, domain, KeyPath(parent), name, {});
  return result == kPreferenceNotFound ? kPreferenceSuccess : result;
}

void ListPreferences(int scope, CAtlString key_path,
                     CAtlArray<CAtlString, CElementTraits<CAtlString>>& names, CAtlString domain) {
  const EffectiveDomain effective(scope, domain);
  const KeyPath path(key_path);
  if (path.empty() || !CheckAddress(effective).ok()) return;
  const auto store = OpenStore(effective, StorePurpose::kRead);
  const PrefValue key = FindKeyIn(*store, path);
  if (key.status.ok()) {
    for (const auto& entry : key.value.entries()) {
      names.Add(CAtlString(std::u16string_view(entry.key.text().ToUnits())));
    }
  }
}

bool IsADictionaryType(CFTypeRef value) {
  return value != nullptr && CFGetTypeID(value) == CFDictionaryGetTypeID();
}

namespace {

CAtlString ApplicationSupportFolder() {
  FSRef folder;
  UInt8 path[2047];
  if (FSFindFolder(kUserDomain, kApplicationSupportFolderType, true, &folder) != noErr ||
      FSRefMakePath(&folder, path, sizeof path) != noErr) {
    return {};
  }
  return MakeWideStringFromUTF8String(reinterpret_cast<const char*>(path));
}

struct SubFolder {
  const char16_t* application;
  const char16_t* folder;
};

constexpr SubFolder kSubFolders[] = {
    {u"vistago", u"/Vistgo"},
    {u"Shared", u"/Shared"},
    {u"ORVIK Tavlo Software", u"/ORVIK Tavlo Software"},
    {u"ORVIK Conceptra", u"/ORVIK Conceptra"},
    {u"ORVIK Pagewell", u"/Pagewell Software"},
};

}  // namespace

CAtlString GetPreferenceApplicationPath(CAtlString application) {
  CAtlString path = ApplicationSupportFolder();
  if (path.IsEmpty()) {
    const char* home = secure_getenv("HOME");
    path =
        MakeWideStringFromUTF8String(home == nullptr ? "" : home) + u"/Library/Application Support";
  }
  path += u"/" + GetCompanyName();
  for (const SubFolder& sub_folder : kSubFolders) {
    if (application.EqualFolded(sub_folder.application)) return path + sub_folder.folder + u"/";
  }
  return path + u"/" + application + u"/";
}

}  // namespace orvik
