// The access of path values to the disk.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "files/directory_path.h"
#include "platform/carbon/folders.h"
#include "strings/atl_string.h"

namespace orvik {

// One walk through the entries of a folder, used by listings and folder operations.

enum class EntryKind {
  kFolder,
  kFile,     // or a link
  kSpecial,  // a pipe, socket or device
};

struct FolderEntry {
  std::u16string_view name;  // in composed form
  const char* name_on_disk;
  EntryKind kind;
};

// Calls `visit` with every entry of the open folder, in the file system's order, until it returns
// false. Returns 0, ECANCELED when `visit` returned false, or the errno of the listing, after which
// some entries may have been visited. An entry's name is in Unicode's composed form, but as spelled
// on disk where several entries are equal in that form or the composed name would not lead to the
// entry. `visit` may change the folder.
int WalkFolder(int folder, const std::function<bool(const FolderEntry&)>& visit);

// The same with a path. A link to a folder is followed.
int WalkFolder(const COrvikDirectoryPath& folder,
               const std::function<bool(const FolderEntry&)>& visit);

// The platform's standard folder of that type; a missing one is made if `create` is true. No value
// when the platform has none.
std::optional<COrvikDirectoryPath> FindStandardFolder(FSVolumeRefNum domain, OSType type,
                                                      bool create);

}  // namespace orvik
