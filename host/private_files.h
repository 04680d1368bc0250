// Files and folders that no other user may read: texts in an editor, changes kept for later.
//
// Every call works below an open folder that belongs to the caller and that no other user may
// enter, so changes of its path by others have no effect. Functions that return an int return 0 or
// an errno.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Makes a new folder of mode 0700, called `prefix` and six random characters, and opens it. `path`
// receives its path. None, with errno, on failure; then no folder is left.
Descriptor MakePrivateFolder(const std::string& prefix, std::string* path);

// Opens the last of the folders `names`, each in the one before, the first in `base`. With `make`
// missing ones are made with mode 0700. None, with errno: ENOENT for a missing folder, EPERM for a
// last folder of another user, or one that others may enter. The last folder is never a link, and
// as root none of them is: behind another user's link nothing may be made.
Descriptor OpenPrivateFolder(const std::string& base, std::span<const char* const> names,
                             bool make);

// Makes a file of mode 0600 in the folder and puts it on disk, with its name and the folders on the
// way to it. EEXIST when the name is taken, by a link, too. A failure leaves no file.
int WritePrivateFile(int folder, const char* name, std::string_view content);

// Reads a whole file of the folder. EPERM for a link and for a file of another user, EFBIG for more
// than `limit` bytes.
int ReadPrivateFile(int folder, const char* name, std::size_t limit, std::string* content);

}  // namespace host
}  // namespace orvik
