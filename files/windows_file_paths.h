// Lookups for calls that use a reference at once and drop it; otherwise as the functions of
// windows_file_refs.h without creation.
#pragma once

#include "platform/carbon/files.h"

namespace orvik {

OSErr FindFileBriefly(const char16_t* path, FSRef* ref);
OSErr FindParentBriefly(const char16_t* path, FSRef* parent, HFSUniStr255* name);

}  // namespace orvik
