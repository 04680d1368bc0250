// Finds out which items are programs.
//
// Functions return a status: 0, or one of errno_status.h.
#pragma once

#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

using LSRequestedInfo = OptionBits;
using LSItemInfoFlags = OptionBits;

inline constexpr LSRequestedInfo kLSRequestAllFlags = 0x00000010;

inline constexpr LSItemInfoFlags kLSItemInfoIsApplication = 0x00000004;
inline constexpr LSItemInfoFlags kLSItemInfoIsNativeApp = 0x00000080;

struct LSItemInfoRecord {
  LSItemInfoFlags flags = 0;
};

// Stores in `info->flags` whether the item that `ref` names is an application. (A link itself never
// is.) An application is a folder named "*.app" with a "Contents" folder, a regular file named
// "*.desktop" or "*.AppImage", or an executable regular file that is an ELF program or begins with
// "#!". An ELF program and an application folder are native. The content of an executable file
// decides, not its name; one that cannot be read counts as native. Returns 0; paramErr for null and
// for any request but kLSRequestAllFlags; fnfErr when the item is gone.
OSStatus LSCopyItemInfoForRef(const FSRef* ref, LSRequestedInfo which_info, LSItemInfoRecord* info);

}  // namespace orvik
