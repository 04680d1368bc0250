// What kind of item stands at a reference.
//
// Functions return a status: 0, or one of host/errno_status.h.
#pragma once

#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

using LSRequestedInfo = OptionBits;
using LSItemInfoFlags = OptionBits;

inline constexpr LSRequestedInfo kLSRequestAllFlags = 0x00000010;

inline constexpr LSItemInfoFlags kLSItemInfoIsPlainFile = 0x00000001;
inline constexpr LSItemInfoFlags kLSItemInfoIsPackage = 0x00000002;
inline constexpr LSItemInfoFlags kLSItemInfoIsApplication = 0x00000004;
inline constexpr LSItemInfoFlags kLSItemInfoIsContainer = 0x00000008;
inline constexpr LSItemInfoFlags kLSItemInfoIsSymlink = 0x00000020;
inline constexpr LSItemInfoFlags kLSItemInfoIsInvisible = 0x00000040;
inline constexpr LSItemInfoFlags kLSItemInfoIsNativeApp = 0x00000080;

struct LSItemInfoRecord {
  LSItemInfoFlags flags = 0;
};

// Reads the flags. An application is a folder named "*.app" that holds a "Contents" folder, a
// regular file named "*.desktop" or "*.AppImage", or a regular file that may be executed and begins
// as an ELF program or with "#!"; an ELF program and an application folder are native.
// paramErr when anything else than kLSRequestAllFlags is asked for.
OSStatus LSCopyItemInfoForRef(const FSRef* ref, LSRequestedInfo which_info, LSItemInfoRecord* info);

}  // namespace orvik
