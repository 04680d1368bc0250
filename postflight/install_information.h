// The run of the postflight tool, and the values that it records about an installation.
//
// The installer ignores the result of a write, and so does the tool: a value that cannot be
// recorded does not stop the others. With ORVIK_STRICT the tool checks the values afterwards.
//
// All values lie in the shared scope, domain com.orviktech.Registry.
#pragma once

#include <variant>
#include <vector>

#include "plist/file.h"
#include "postflight/installer_args.h"
#include "strings/atl_string.h"

namespace orvik {

// A value to record, and the result. The texts are constants.
struct InstallValue {
  const char16_t* key_path;
  const char16_t* name;
  std::variant<CAtlString, int> value;
  long written = 0;  // the result of the write (prefs/preferences.h)
};

struct InstallRecord {
  std::vector<InstallValue> values;
  // A damaged file of the store that was kept aside and replaced by one with only the recorded
  // values.
  std::vector<plist::KeptAsideFiles::Kept> kept_aside;
  int flush_error = 0;  // why the folder could not be flushed to disk, or 0
};

// Writes the values one after the other, even if one fails, and returns them. A value of a sibling
// product is written only if that product's receipt exists. A damaged file of the store is kept
// beside the new one; both paths are logged.
InstallRecord RecordInstallInformation(const InstallerArgs& arguments);

// Reads the store's file again. True when it contains every value, is on disk, and did not replace
// a damaged file. Logs each missing value with its scope, key path, name, domain and reason, such
// as the holder of the lock; logs a failed flush, too.
bool CheckRecorded(const InstallRecord& record);

// Reads and logs the installer's arguments and records the installation paths in the shared
// preferences of com.orviktech.Registry. Returns the exit status of the process: 1, even if the
// arguments were complete and the values were saved.
//
// If the environment variable ORVIK_STRICT is "1", the values are then read back from the store's
// file; the status is 0 when all of them are there, else 1, and the log names the missing ones.
int RunPostflight();

}  // namespace orvik
