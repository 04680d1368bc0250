// One walk through the entries of a folder, on which listing and folder operations are built.
#pragma once

#include <functional>
#include <string_view>

#include "files/directory_path.h"
#include "platform/core_foundation/base.h"

namespace orvik {

enum class EntryKind {
  kFolder,
  kFile,     // or a link
  kSpecial,  // a pipe, socket or device, which is no folder either
};

// Calls `visit` with the name and the kind of every entry, in the file system's order. Names are in
// Unicode's composed form, but as spelled on disk where the composed name is another entry's. A
// link is no folder; a `folder` that is a link to a folder is followed. The status is that of
// opening or closing the walk. `visit` leaves the folder as it is: callers that change it gather
// the names first.
OSErr WalkFolder(const COrvikDirectoryPath& folder,
                 const std::function<void(std::u16string_view name, EntryKind kind)>& visit);

}  // namespace orvik
