// Opens regular files and nothing else.
//
// To open a device can act on it (a watchdog starts, a tape rewinds), and to open a pipe lets a
// process go on that waits for a reader. So what has the name is looked at before it is opened, and
// nothing can take its place between the two.
#pragma once

#include <string>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// openat for a regular file that exists: `flags` is the access, and O_NOFOLLOW for an entry that
// must not be a link. Empty, with errno, on failure: EISDIR for a folder, ELOOP for a link that is
// not followed, EINVAL for anything else that is not a regular file. Without /proc the file is
// opened by its name, and given up when another has the name by then (EAGAIN).
Descriptor OpenRegular(int folder, const char* name, int flags);

// The same for a path of any length, whose links are followed.
Descriptor OpenRegular(const std::string& path, int flags);

// 0 for a regular file; otherwise the error number above.
int RefusalOf(mode_t mode);

}  // namespace host
}  // namespace orvik
