// Paths on their way into and out of the path values.
#pragma once

#include <optional>
#include <string>

#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// The path for the Windows-named calls: null, which they refuse, when it holds a NUL, behind which
// they would not see the rest and so find another file.
const char16_t* PathArgument(const CAtlString& path);

// The path as bytes for libc (host/file_names.h), with paths of the system volume below the system
// root; nothing when no file can have that name. A file that exists under another Unicode spelling
// of the path only is found.
std::optional<std::string> PathForLibc(const CAtlString& path);

// A path or a name on disk as text for a path value. Path values turn "\" into "/"; a "\" that is
// on disk is kept from that as the unit U+DC5C (host/file_names.h).
CAtlString PathFromUnits(std::u16string_view units);
CAtlString PathFromBytes(std::string_view bytes);

}  // namespace orvik
