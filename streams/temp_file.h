// Temporary files that are certain to be one's own.
#pragma once

#include "files/file_path.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Creates an empty file at `path`, a name from COrvikFilePath::CreateTempFileName. When something
// has taken the name meanwhile, `path` becomes another one; nobody else's file is ever opened.
// False when no file can be created.
bool CreateTempFile(COrvikFilePath& path, const CAtlString& extension);

}  // namespace orvik
