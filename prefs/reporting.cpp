#include "prefs/reporting.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/core_foundation/collections.h"
#include "plist/forms.h"
#include "prefs/domain_store.h"
#include "prefs/key_walk.h"
#include "strings/utf8_strings.h"

namespace orvik {

std::string PreferenceFilePath(int scope, const CAtlString& domain) {
  const EffectiveDomain effective(scope, domain);
  return CheckAddress(effective).ok() ? FileOfDomain(effective) : std::string();
}

PrefValue ReadDomain(int scope, const CAtlString& domain) {
  const FileDomainStore store({scope, domain}, StorePurpose::kRead);
  return {store.status(), store.entries()};
}

PrefValue ReadPreference(int scope, const KeyPath& key_path, const CAtlString& name,
                         const CAtlString& domain) {
  PrefValue root = ReadDomain(scope, domain);
  return root.ok() ? FindValue(root.value, key_path, name) : root;
}

PrefValue ReadPreferenceKey(int scope, const KeyPath& key_path, const CAtlString& domain) {
  PrefValue root = ReadDomain(scope, domain);
  return root.ok() ? FindKey(root.value, key_path) : root;
}

PrefStatus ListPreferenceNames(int scope, const KeyPath& key_path, const CAtlString& domain,
                               CAtlArray<CAtlString>& names) {
  const PrefValue key = ReadPreferenceKey(scope, key_path, domain);
  if (!key.ok()) return key.status;
  std::vector<std::u16string> sorted;
  for (const auto& entry : key.value.entries()) sorted.push_back(entry.key.text().ToUnits());
  std::sort(sorted.begin(), sorted.end());
  for (const std::u16string& name : sorted) {
    if (names.Add(CAtlString(name)) == names.kNoIndex) throw std::bad_alloc();
  }
  return PrefStatus::Ok();
}

PrefCheck CheckDomain(int scope, const CAtlString& domain) {
  const FileDomainStore store({scope, domain}, StorePurpose::kRead);
  PrefCheck check{store.status(), {}};
  if (check.status.error == PrefError::kDamaged) {
    const std::string reason = plist::Read(store.file().bytes()).error;
    check.damage = MakeWideStringFromUTF8String(CAtlStringA(reason.c_str()));
  }
  return check;
}

namespace {

// Plans the repair of a file as it was found. `entries` gets the entries to save, and the status
// shows whether they may replace the file without kReplace.
PrefRepair Plan(const FileDomainStore& store, plist::Value& entries) {
  PrefRepair repair;
  repair.status = store.status();
  if (repair.status.ok()) {
    repair.was_sound = true;
    repair.entries = static_cast<int>(store.entries().count());
    return repair;
  }
  // An unreadable file is not necessarily damaged.
  const bool is_other_list = repair.status.error == PrefError::kRootNotDictionary;
  if (repair.status.error != PrefError::kDamaged && !is_other_list) return repair;
  const plist::Bytes& bytes = store.file().bytes();
  plist::Salvage salvage = is_other_list
                               ? plist::LoseEverything("a property list without entries", bytes)
                               : plist::SalvageEntries(bytes);
  repair.entries = static_cast<int>(salvage.entries.count());
  repair.losses = salvage.losses.list();
  repair.lost = salvage.losses.count();
  if (!is_other_list) {
    repair.status = {repair.entries == 0 ? PrefError::kNothingSaved : PrefError::kNone};
  }
  entries = std::move(salvage.entries);
  return repair;
}

}  // namespace

// Reads twice when it saves: a plan made without the lock is saved only if the file still has the
// same bytes; else the plan is made again under the lock.
PrefRepair RepairDomain(int scope, const CAtlString& domain,
                        std::optional<std::chrono::milliseconds> wait, PrefRepairMode mode) {
  const EffectiveDomain effective(scope, domain);
  plist::Value entries;
  const auto may_save = [&](const PrefRepair& repair) {
    return entries && (repair.status.ok() || mode == PrefRepairMode::kReplace);
  };
  // Salvaging may take long: the lock is only held for writing.
  const FileDomainStore found(effective, StorePurpose::kRead);
  PrefRepair repair = Plan(found, entries);
  if (mode == PrefRepairMode::kDryRun || !may_save(repair)) return repair;
  FileDomainStore store(effective, StorePurpose::kChange, wait);
  const plist::Bytes &now = store.file().bytes(), &then = found.file().bytes();
  const bool is_same = now != nullptr && then != nullptr && *now == *then;
  if (store.status().error != found.status().error || !is_same) {
    // The lock was not obtained, or another process changed the file.
    entries = {};
    repair = Plan(store, entries);
    if (!may_save(repair)) return repair;
  }
  if (repair.status = store.StartAnew(); !repair.status.ok()) return repair;
  const std::string kept = store.kept();
  store.ReplaceEntries(std::move(entries));
  repair.status = store.Save();
  if (repair.status.ok()) repair.kept_copy = kept;
  return repair;
}

}  // namespace orvik
