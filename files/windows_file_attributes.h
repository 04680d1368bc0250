// How Windows-style attributes come from a POSIX mode.
#pragma once

#include "files/windows_files.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr UInt16 kModeDirectoryBit = 0x4000;
inline constexpr UInt16 kModeWriteBits = 0x92;  // owner, group, others

constexpr DWORD AttributesFromMode(UInt16 mode) {
  DWORD attributes = 0;
  if ((mode & kModeDirectoryBit) != 0) attributes |= FILE_ATTRIBUTE_DIRECTORY;
  if ((mode & kModeWriteBits) == 0) attributes |= FILE_ATTRIBUTE_READONLY;
  return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

}  // namespace orvik
