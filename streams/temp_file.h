// Temporary files that are certain to be one's own.
#pragma once

#include "files/file_path.h"
#include "host/descriptor.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Creates an empty file at `path`, a name from COrvikFilePath::CreateTempFileName without a name.
// When something has taken the name meanwhile, `path` becomes another one; nobody else's file is
// ever opened. The file is in use while the descriptor is open: what has the same extension and is
// not, because its maker was killed, is removed here. None when no file can be created.
host::Descriptor CreateTempFile(COrvikFilePath& path, const CAtlString& extension);

}  // namespace orvik
