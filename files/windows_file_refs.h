// From paths to references of the file manager, and back.
//
// The first two functions return a platform status: 0, -43 (fnfErr) when the path names nothing or
// is no possible path, or what making the object answered. A path is NUL-terminated UTF-16 in POSIX
// form; trailing "/" are not looked at. A final symbolic link means the link itself. A path or
// component of any length is taken whole: one the file system cannot hold is not found.
#pragma once

#include <optional>
#include <string>

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"

namespace [[gnu::visibility("default")]] orvik {

// The object at `path`. With `create`, a missing last component is made in its existing parent
// folder: a folder with `is_directory`, else an empty file; whatever exists already is left as it
// is and gives 0.
OSErr GetFSRefFromFilename(const char16_t* path, FSRef* ref, bool create, bool is_directory);

// The parent folder (which must exist) and the last component, which need not; a component of more
// than 255 units gives -43.
OSErr GetParentFSRAndNameFromFilePath(const char16_t* path, FSRef* parent, HFSUniStr255* name);

// The present path of a referenced object, whatever its length; nothing when it is gone.
std::optional<std::string> PathOfReference(const FSRef& ref);

}  // namespace orvik
