// The run of the postflight tool, and the values that it records about an installation.
//
// The installer ignores the result of a write, and so does a run: what could not be recorded does
// not stop the rest. ORVIK_STRICT asks for the truth afterwards.
//
// All values lie in the shared scope, domain com.orviktech.Registry.
#pragma once

#include <variant>
#include <vector>

#include "plist/file.h"
#include "postflight/installer_args.h"
#include "strings/atl_string.h"

namespace orvik {

// A value to record, and how that went. The texts are constants.
struct InstallValue {
  const char16_t* key_path;
  const char16_t* name;
  std::variant<CAtlString, int> value;
  long written = 0;  // the result of the write (prefs/preferences.h)
};

struct InstallRecord {
  std::vector<InstallValue> values;
  // A damaged store that was kept aside and replaced by one with the recorded values alone.
  std::vector<plist::KeptAsideFiles::Kept> kept_aside;
  int flush_error = 0;  // why the folder of the file could not be put on disk; 0 when it was
};

// Writes the values one after the other, even when one of them fails, and returns them. A value of
// a sibling product is written only where that product's receipt exists. A damaged store is kept
// beside the new one; both paths are logged.
InstallRecord RecordInstallInformation(const InstallerArgs& arguments);

// Reads the store's file again. True when it holds every value, is on disk, and did not replace a
// damaged file. Logs each missing value with its scope, key path, name, domain and reason, such as
// the holder of the lock; logs a failed flush, too.
bool CheckRecorded(const InstallRecord& record);

// Reads and logs the installer's arguments and records where things were installed in the shared
// preferences of com.orviktech.Registry. The result is the exit status of the process: 1, whether
// or not the arguments were complete and the values could be saved.
//
// With the environment variable ORVIK_STRICT set to "1" the values are then read back from the
// store's file; the status is 0 when all of them are there, else 1, and the log names the missing
// ones.
int RunPostflight();

}  // namespace orvik
