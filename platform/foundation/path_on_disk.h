// The path on disk behind a path that a caller gave.
#pragma once

#include <optional>
#include <string>

#include "platform/foundation/ns_string.h"

namespace orvik {

// Bytes, moved below the system root where host::ResolvePath says so. Nothing for null, the empty
// text and a text that no path can have.
std::optional<std::string> FilePath(const NSString* path);

// A string owned by the caller for a path on disk.
NSString* NewStringFromPath(std::string_view path);

}  // namespace orvik
