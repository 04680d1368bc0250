// Converts paths between the path values, the Windows-named calls and the system calls.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// The path as argument of a Windows-named call. Null, which the calls refuse, when the path
// contains a NUL: they would read the path only up to it and find a different file.
const char16_t* PathArgument(const CAtlString& path);

// The path as bytes for the system calls: without trailing "/", paths of the system volume below
// the system root, and every component as spelled on disk: if no entry has exactly that name, the
// only entry that is equal after Unicode normalisation is meant. A unit of U+DC80..U+DCFF becomes
// the byte from which PathFromBytes made it, and U+DC5C becomes "\". No value for an empty or null
// path, and when no file can have that name.
std::optional<std::string> PathForLibc(std::u16string_view path);
std::optional<std::string> PathForLibc(const CAtlString& path);
std::optional<std::string> PathForLibc(const char16_t* path);

// A path or a name on disk as text for a path value. Path values turn "\" into "/"; so a "\" of a
// name on disk becomes the unit U+DC5C. Names that are not UTF-8 are kept, too: a byte that belongs
// to no UTF-8 sequence becomes the unit 0xDC00 + the byte. Use this for names from readdir, argv or
// a configuration file.
CAtlString PathFromUnits(std::u16string_view units);
CAtlString PathFromBytes(std::string_view bytes);

// From paths to references of the file manager, and back.
//
// The first two functions return a platform status: 0, -43 (fnfErr) for a missing object or an
// invalid path, or the status of making the object. A path is NUL-terminated UTF-16 in POSIX form;
// trailing "/" are ignored. A final symbolic link means the link itself. A path or component is
// never cut: if it is too long for the file system, it is not found.

// Finds the object at `path`. With `create`, makes a missing last component in its existing parent
// folder: a folder with `is_directory`, else an empty file. An existing object stays as it is and
// gives 0.
OSErr GetFSRefFromFilename(const char16_t* path, FSRef* ref, bool create, bool is_directory);

// Finds the parent folder (which must exist) and the last component (which may be missing); a
// component of more than 255 units gives -43.
OSErr GetParentFSRAndNameFromFilePath(const char16_t* path, FSRef* parent, HFSUniStr255* name);

// The current path of a referenced object, of any length; no value when the object no longer
// exists.
std::optional<std::string> PathOfReference(const FSRef& ref);

}  // namespace orvik
