// The reading side of the preference store for callers that need reasons, and the files behind it.
//
// Everything works on the file behind a scope (0 to 5) and domain as it lies on disk at that
// moment, in all scopes alike; changes go through transaction.h. Failures are in the status; a
// result that is not ok() holds no value.
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

// One value or key of any type. kNotFound when there is none; kNotAKey when a value is on the
// path. An empty key path looks among the top-level entries.
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
  PrefStatus status;  // as ReadDomain
  CAtlString damage;  // of a damaged file: what is wrong, in text with line and column
};
// Reads the file and changes nothing. `damage` is "" for any other status than kDamaged.
PrefCheck CheckDomain(int scope, const CAtlString& domain);

// Something that a repair could not save (plist/salvage.h).
using PrefLoss = plist::Loss;

// The outcome of a repair or of its dry run.
struct PrefRepair {
  PrefStatus status;       // ok() when the file is, or would be, a sound property list of entries
  bool was_sound = false;  // nothing had to be done
  std::string kept_copy;   // where the damaged file now lies beside the repaired one
  int entries = 0;         // top-level entries that could be saved
  // The losses, in the order of their places in the file. No more than the first thousand are
  // listed; `lost` counts all.
  std::vector<PrefLoss> losses;
  std::size_t lost = 0;
};

enum class PrefRepairMode {
  kSave,
  kDryRun,   // change nothing, take no lock
  kReplace,  // as kSave, and replace a file that gives no entry by an empty domain
};

// Saves what can be read of a damaged file and keeps the damaged one beside it. Of every form each
// value that is whole is saved, also behind what is wrong; a binary list needs its table of
// objects, which is at its end. `wait` is that of Transaction::WaitAtMost.
//
// Nothing is changed, unless the mode is kReplace, with kNothingSaved, when there is no entry to be
// saved, and with kRootNotDictionary, when the file is a sound property list of another kind. The
// losses are listed then, too. Nothing is changed, either, without a file (kNotFound) and when it
// cannot be read (kUnreadable, kTooLarge).
PrefRepair RepairDomain(int scope, const CAtlString& domain,
                        std::optional<std::chrono::milliseconds> wait = {},
                        PrefRepairMode mode = PrefRepairMode::kSave);

}  // namespace orvik
