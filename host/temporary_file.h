// Temporary files.
#pragma once

#include <string>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Makes a file for its owner only (mode 0600) that no process leaves: it never has a name, where
// the volume can do that, or loses it at once. None, with errno, when that fails.
Descriptor MakeTemporaryFile(const std::string& folder);

// Whether the open file is a regular one of the caller's and still has the name.
bool IsOwnFile(int file, int folder, const char* name);

}  // namespace host
}  // namespace orvik
