// What the tool records about an installation, and whether it is recorded.
//
// All of it lies in the shared scope, domain com.orviktech.Registry.
#pragma once

#include <variant>
#include <vector>

#include "platform/core_foundation/property_list_file.h"
#include "postflight/installer_args.h"
#include "strings/atl_string.h"

namespace orvik {

struct InstallValue {
  const char16_t* key_path;
  const char16_t* name;
  std::variant<CAtlString, int> value;
};

struct InstallRecord {
  std::vector<InstallValue> values;
  // A store that was no property list and gave way to one of the recorded values alone.
  std::vector<KeptAsideFiles::File> kept_aside;
  int flush_error = 0;  // why the folder of the file could not be put on disk; 0 when it was
};

// Writes the values one after the other, even when one of them fails, and returns those that were
// to be written: what concerns a sibling product is one of them only with that product's receipt. A
// damaged store is kept beside the new one; both paths are logged.
InstallRecord RecordInstallInformation(const InstallerArgs& arguments);

// Whether the store's file, read anew, holds every one of the values, is on disk, and took the
// place of no damaged one. Each value that it does not hold is logged with its scope, key path,
// name and domain, and why; so is a flush that failed.
bool CheckRecorded(const InstallRecord& record);

}  // namespace orvik
