#include "prefs/reporting.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "prefs/file_domain_store.h"
#include "prefs/key_walk.h"
#include "prefs/platform_values.h"
#include "prefs/salvage.h"

namespace orvik {

std::string PreferenceFilePath(int scope, const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  return CheckAddress(effective).ok() ? FileOfDomain(effective) : std::string();
}

PrefResult<CFDictionaryRef> CopyDomain(int scope, const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  if (const PrefStatus status = CheckAddress(effective); !status.ok()) {
    return {status, {}};
  }
  const FileDomainStore store(effective, domain, StorePurpose::kRead);
  return {store.status(), CAutoCFRelease<CFDictionaryRef>::Retaining(store.entries())};
}

PrefResult<CFTypeRef> CopyPreference(int scope, const KeyPath& key_path, const CAtlString& name,
                                     const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  if (const PrefStatus status = CheckAddress(effective); !status.ok()) {
    return {status, {}};
  }
  FileDomainStore store(effective, domain, StorePurpose::kRead);
  if (!store.status().ok()) {
    return {store.status(), {}};
  }
  FoundValue found = FindValueIn(store, key_path, name);
  return {std::move(found.status), std::move(found.value)};
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

PrefCheck CheckDomain(int scope, const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  PrefCheck check{CheckAddress(effective), {}};
  if (!check.status.ok()) {
    return check;
  }
  const FileDomainStore store(effective, domain, StorePurpose::kRead);
  check.status = store.status();
  if (check.status.error == PrefError::kDamaged) {
    CFStringRef reason = nullptr;
    const CAutoCFRelease<CFTypeRef> none(CFPropertyListCreateFromXMLData(
        kCFAllocatorDefault, store.file().bytes(), kCFPropertyListImmutable, &reason));
    const CAutoCFRelease<CFStringRef> owner(reason);
    check.damage = CAtlString(reason);
  }
  return check;
}

namespace {

bool AreSameBytes(CFDataRef one, CFDataRef other) {
  return one != nullptr && other != nullptr && CFEqual(one, other) != 0;
}

// What repairing a file as it was found would give. The entries go to `entries`, and the status
// says whether they may take the file's place unasked.
PrefRepair Plan(const FileDomainStore& store, CAutoCFRelease<CFMutableDictionaryRef>& entries) {
  PrefRepair repair;
  repair.status = store.status();
  if (repair.status.ok()) {
    repair.was_sound = true;
    repair.entries = static_cast<int>(CFDictionaryGetCount(store.entries()));
    return repair;
  }
  // An unreadable file is not necessarily damaged.
  const bool is_other_list = repair.status.error == PrefError::kRootNotDictionary;
  if (repair.status.error != PrefError::kDamaged && !is_other_list) {
    return repair;
  }
  const CFDataRef bytes = store.file().bytes();
  Salvage salvage =
      is_other_list ? NothingOf("a property list without entries", bytes) : SalvageEntries(bytes);
  repair.entries = static_cast<int>(CFDictionaryGetCount(salvage.entries));
  repair.losses = std::move(salvage.losses);
  repair.lost = salvage.lost;
  if (!is_other_list) {
    repair.status = {repair.entries == 0 ? PrefError::kNothingSaved : PrefError::kNone};
  }
  entries = std::move(salvage.entries);
  return repair;
}

}  // namespace

PrefRepair RepairDomain(int scope, const CAtlString& domain,
                        std::optional<std::chrono::milliseconds> wait, PrefRepairMode mode) {
  const EffectiveDomain effective(scope, domain);
  if (PrefStatus status = CheckAddress(effective); !status.ok()) {
    PrefRepair repair;
    repair.status = std::move(status);
    return repair;
  }
  CAutoCFRelease<CFMutableDictionaryRef> entries;
  const auto may_save = [&](const PrefRepair& repair) {
    return entries && (repair.status.ok() || mode == PrefRepairMode::kReplace);
  };
  // Salvaging may take long: the lock is only for writing.
  const FileDomainStore found(effective, domain, StorePurpose::kRead);
  PrefRepair repair = Plan(found, entries);
  if (mode == PrefRepairMode::kRehearse || !may_save(repair)) {
    return repair;
  }
  FileDomainStore store(effective, domain, StorePurpose::kChange, wait);
  if (store.status().error != found.status().error ||
      !AreSameBytes(store.file().bytes(), found.file().bytes())) {
    // The lock was not obtained, or somebody was faster.
    entries.Free();
    repair = Plan(store, entries);
    if (!may_save(repair)) {
      return repair;
    }
  }
  if (repair.status = store.StartAnew(); !repair.status.ok()) {
    return repair;
  }
  const std::string kept = store.kept();
  store.ReplaceEntries(std::move(entries));
  repair.status = store.Save();
  if (repair.status.ok()) {
    repair.kept_copy = kept;
  }
  return repair;
}

}  // namespace orvik
