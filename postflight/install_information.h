// What the tool records about an installation, and whether it is recorded.
//
// All of it lies in the shared scope, domain com.orviktech.Registry.
#pragma once

#include <variant>
#include <vector>

#include "postflight/installer_args.h"
#include "strings/atl_string.h"

namespace orvik {

struct InstallValue {
  const char16_t* key_path;
  const char16_t* name;
  std::variant<CAtlString, int> value;
};

// Writes the values one after the other, whatever becomes of each, and gives those that it set out
// to write: what concerns a sibling product is one of them only with that product's receipt.
std::vector<InstallValue> RecordInstallInformation(const InstallerArgs& arguments);

// Whether the store's file, read anew, holds every one of the values. Each that it does not hold is
// logged with its scope, key path, name and domain, and why.
bool CheckRecorded(const std::vector<InstallValue>& values);

}  // namespace orvik
