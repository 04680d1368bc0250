#include "prefs/reporting.h"

#include <algorithm>
#include <vector>

#include "prefs/change.h"
#include "prefs/file_domain_store.h"
#include "prefs/key_walk.h"
#include "prefs/platform_values.h"
#include "prefs/salvage.h"

namespace orvik {

std::string PreferenceFilePath(int scope, const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  return CheckAddress(effective).ok() ? PreferenceFile(effective).path() : std::string();
}

PrefResult<CFDictionaryRef> CopyDomain(int scope, const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  if (const PrefStatus status = CheckAddress(effective); !status.ok()) {
    return {status, {}};
  }
  PreferenceFile file(effective);
  file.Load(kCFPropertyListImmutable);
  if (!file.status().ok()) {
    return {file.status(), {}};
  }
  return {{},
          CAutoCFRelease<CFDictionaryRef>::Retaining(static_cast<CFDictionaryRef>(file.root()))};
}

PrefResult<CFTypeRef> CopyPreference(int scope, const KeyPath& key_path, const CAtlString& name,
                                     const CAtlString& domain) {
  const PrefResult<CFDictionaryRef> key = CopyPreferenceKey(scope, key_path, domain);
  if (!key.ok()) {
    return {key.status, {}};
  }
  auto value =
      CAutoCFRelease<CFTypeRef>::Retaining(CFDictionaryGetValue(key.value, PlatformString(name)));
  const PrefStatus status = value ? PrefStatus::Ok() : PrefStatus{PrefError::kNotFound};
  return {status, std::move(value)};
}

PrefResult<CFDictionaryRef> CopyPreferenceKey(int scope, const KeyPath& key_path,
                                              const CAtlString& domain) {
  PrefResult<CFDictionaryRef> root = CopyDomain(scope, domain);
  if (!root.ok() || key_path.empty()) {
    return root;
  }
  const FoundKey key =
      FindKey(CFDictionaryGetValue(root.value, PlatformString(key_path.name(1))), key_path);
  return {key.status, CAutoCFRelease<CFDictionaryRef>::Retaining(key.dictionary)};
}

PrefStatus ListPreferenceNames(int scope, const KeyPath& key_path, const CAtlString& domain,
                               CAtlArray<CAtlString>& names) {
  const PrefResult<CFDictionaryRef> key = CopyPreferenceKey(scope, key_path, domain);
  if (!key.ok()) {
    return key.status;
  }
  CAtlArray<CAtlString> found;
  AppendNames(key.value, found);
  std::vector<std::u16string_view> sorted;
  for (const CAtlString& name : found) {
    sorted.push_back(name.View());
  }
  std::sort(sorted.begin(), sorted.end());
  for (const std::u16string_view name : sorted) {
    names.Add(CAtlString(name));
  }
  return PrefStatus::Ok();
}

PrefRepair RepairDomain(int scope, const CAtlString& domain) {
  PrefRepair repair;
  const EffectiveDomain effective(scope, domain);
  if (repair.status = CheckAddress(effective); !repair.status.ok()) {
    return repair;
  }
  const GuardHold guard(SystemStores(), effective, domain);
  if (!guard.held()) {
    repair.status = {PrefError::kLockNotObtained};
    return repair;
  }
  FileDomainStore store(effective, StorePurpose::kChange);
  if (!store.opened()) {
    repair.status = {PrefError::kLockNotObtained};
    return repair;
  }
  repair.status = store.file().status();
  if (repair.status.error == PrefError::kNotFound) {
    return repair;
  }
  if (repair.status.ok()) {
    repair.was_sound = true;
    repair.entries =
        static_cast<int>(CFDictionaryGetCount(static_cast<CFDictionaryRef>(store.file().root())));
    return repair;
  }
  CAutoCFRelease<CFMutableDictionaryRef> entries;
  if (store.file().bytes() != nullptr) {
    entries = SalvageEntries(store.file().bytes());
  }
  if (repair.status = store.StartAnew(); !repair.status.ok()) {
    return repair;
  }
  const std::string kept = store.kept();
  if (!entries) {
    entries = NewDictionary();
  }
  repair.entries = static_cast<int>(CFDictionaryGetCount(entries));
  store.ReplaceEntries(std::move(entries));
  repair.status = store.Save();
  if (repair.status.ok()) {
    repair.kept_copy = kept;
  }
  return repair;
}

}  // namespace orvik
