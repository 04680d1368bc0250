// Files and folders that no other user may read: texts in an editor, changes kept for later.
//
// Every call works below an open folder that belongs to the caller and that no other user may
// enter, so changes of its path by other users have no effect. Functions that return an int return
// 0 or an errno.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Makes and opens a new folder of mode 0700, whose name is `prefix` and six random characters.
// `path` receives its path. None, with errno, on failure; no folder is left then.
Descriptor MakePrivateFolder(const std::string& prefix, std::string* path);

// Opens the last of the folders `names`, each in the one before it, the first in `base`. With
// `make`, missing folders are made with mode 0700. None, with errno: ENOENT for a missing folder,
// EPERM when the last folder belongs to another user or other users may enter it. The last folder
// must not be a link. As root, none of them may be, because another user's link must not decide
// where root writes.
Descriptor OpenPrivateFolder(const std::string& base, std::span<const char* const> names,
                             bool make);

// Makes a file of mode 0600 in the folder and flushes the file, its name and the folders on the way
// to it. EEXIST when the name is taken, even by a link. A failure leaves no file.
int WritePrivateFile(int folder, const char* name, std::string_view content);

// Reads a whole file of the folder. EPERM for a link and for a file of another user, EFBIG for more
// than `limit` bytes.
int ReadPrivateFile(int folder, const char* name, std::size_t limit, std::string* content);

}  // namespace host
}  // namespace orvik
