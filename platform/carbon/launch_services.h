// Which items are programs.
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

// Stores in `info->flags` whether the item that `ref` names (a link itself, which is never a
// program) is an application. An application is a folder named "*.app" that holds a "Contents"
// folder, a regular file named "*.desktop" or "*.AppImage", or a regular file that may be executed
// and begins as an ELF program or with "#!"; an ELF program and an application folder are native.
// Which programs an item runs is decided by its content, not by its name; a file that may be run
// but not read counts as native. Returns 0; paramErr for null and when anything else than
// kLSRequestAllFlags is asked for; fnfErr when the item is gone.
OSStatus LSCopyItemInfoForRef(const FSRef* ref, LSRequestedInfo which_info, LSItemInfoRecord* info);

}  // namespace orvik
