// Reading the preference store with reasons for failures, and the files behind it.
//
// All functions work on the file behind a scope (0 to 5) and domain as it is on disk at that
// moment, for all scopes alike. Changes are made with transaction.h. The status reports failures;
// a result that is not ok() has no value.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "plist/salvage.h"
#include "plist/value.h"
#include "prefs/key_path.h"
#include "prefs/pref_status.h"
#include "strings/atl_array.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

struct PrefValue {
  PrefStatus status;
  plist::Value value;

  bool ok() const { return status.ok(); }
};

// The path (UTF-8) of the file behind a scope and domain, whether or not it exists; "" when the
// scope is unknown or the domain refused.
std::string PreferenceFilePath(int scope, const CAtlString& domain);

// All top-level entries. kNotFound without a file; kDamaged, kRootNotDictionary, kUnreadable,
// kRefusedDomain, kUnknownScope.
PrefValue ReadDomain(int scope, const CAtlString& domain);

// One value or key of any type. kNotFound when it does not exist; kNotAKey when the path leads
// through a value. An empty key path means the top-level entries.
PrefValue ReadPreference(int scope, const KeyPath& key_path, const CAtlString& name,
                         const CAtlString& domain);

// A key with everything below it; the whole domain for an empty key path.
PrefValue ReadPreferenceKey(int scope, const KeyPath& key_path, const CAtlString& domain);

// Appends the names below a key, or of the domain's top-level entries for an empty key path, in
// the order of their UTF-16 units.
PrefStatus ListPreferenceNames(int scope, const KeyPath& key_path, const CAtlString& domain,
                               CAtlArray<CAtlString>& names);

// Whether the file is a sound property list of entries.
struct PrefCheck {
  PrefStatus status;  // as of ReadDomain
  CAtlString damage;  // the fault in a damaged file, with line and column in XML and text
};
// Reads the file and changes nothing. `damage` is "" unless the status is kDamaged.
PrefCheck CheckDomain(int scope, const CAtlString& domain);

// A loss: a part of the file that a repair could not save (plist/salvage.h).
using PrefLoss = plist::Loss;

// The outcome of a repair or of its dry run.
struct PrefRepair {
  PrefStatus status;       // ok() when the file is, or would be, a sound property list of entries
  bool was_sound = false;  // nothing had to be repaired
  std::string kept_copy;   // the path of the damaged file beside the repaired one
  int entries = 0;         // top-level entries that could be saved
  // The losses, in the order of their places in the file. At most the first thousand are listed;
  // `lost` counts all.
  std::vector<PrefLoss> losses;
  std::size_t lost = 0;
};

enum class PrefRepairMode {
  kSave,
  kDryRun,   // change nothing, take no lock
  kReplace,  // as kSave, but replaces a file without any entry by an empty domain
};

// Saves the readable entries of a damaged file and keeps the damaged file beside it. In every form
// each intact value is saved, even behind a fault; a binary list needs its table of objects, which
// is at its end. `wait` is as for Transaction::WaitAtMost.
//
// Unless the mode is kReplace, nothing is changed with kNothingSaved, when no entry can be saved,
// and with kRootNotDictionary, when the file is a sound property list of another kind. The losses
// are listed then, too. In every mode nothing is changed without a file (kNotFound) and when it
// cannot be read (kUnreadable, kTooLarge).
PrefRepair RepairDomain(int scope, const CAtlString& domain,
                        std::optional<std::chrono::milliseconds> wait = {},
                        PrefRepairMode mode = PrefRepairMode::kSave);

}  // namespace orvik
