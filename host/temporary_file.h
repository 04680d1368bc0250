// Files in a shared folder that must not outlive their makers.
#pragma once

#include <string>
#include <string_view>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Makes an empty file of mode 0666 less the umask and holds a kernel lock on it for as long as the
// descriptor is open, by which others see that it is in use. None, with errno, when it cannot be
// made; EEXIST when something stands there.
Descriptor MakeLockedFile(const std::string& path);

// Whether the open file is a regular one of the caller's and still has the name.
bool IsOwnFile(int file, int folder, const char* name);

// Removes the caller's files of names that begin and end so and are locked by nobody: what
// processes that were killed have left.
void RemoveAbandonedFiles(const std::string& folder, std::string_view beginning,
                          std::string_view end);

}  // namespace host
}  // namespace orvik
