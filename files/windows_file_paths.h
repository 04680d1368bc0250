// Lookups for calls that use a reference at once and drop it; otherwise as the functions of
// windows_file_refs.h without creation.
#pragma once

#include "platform/carbon/files.h"

namespace orvik {

// The file type of a copy that is not whole yet.
inline constexpr OSType kBusyFileType = FourCC("bzy ");

// What a reference may name.
inline constexpr std::uint16_t kRegularFile = 0x8000;
inline constexpr std::uint16_t kSymbolicLink = 0xA000;

OSErr FindFileBriefly(const char16_t* path, FSRef* ref);

// Makes the last component unless something stands there already: 0 in both cases.
OSErr CreateBriefly(const char16_t* path, bool is_directory);

// The parent folder and the last component.
OSErr FindParentBriefly(const char16_t* path, FSRef* parent, HFSUniStr255* name);

}  // namespace orvik
