// Paths on their way into and out of the path values and the Windows-named calls.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// The path for the Windows-named calls: null, which they refuse, when it holds a NUL, behind which
// they would not see the rest and so find another file.
const char16_t* PathArgument(const CAtlString& path);

// The path as bytes for the system calls: without trailing "/", paths of the system volume below
// the system root, and every component as it is spelled on disk: a missing one stands for the one
// entry that Unicode normalisation makes equal to it. A unit of U+DC80..U+DCFF becomes the byte
// that PathFromBytes made it from, and U+DC5C becomes "\". Nothing for an empty or null path, and
// when no file can have that name.
std::optional<std::string> PathForLibc(std::u16string_view path);
std::optional<std::string> PathForLibc(const CAtlString& path);
std::optional<std::string> PathForLibc(const char16_t* path);

// A path or a name on disk as text for a path value. Path values turn "\" into "/"; a "\" that is
// on disk is kept from that as the unit U+DC5C. Names that are not UTF-8 travel too, a byte that
// belongs to no UTF-8 sequence as the unit 0xDC00 + the byte: this is how names from readdir, argv
// or a configuration file become path values.
CAtlString PathFromUnits(std::u16string_view units);
CAtlString PathFromBytes(std::string_view bytes);

// From paths to references of the file manager, and back.
//
// The first two functions return a platform status: 0, -43 (fnfErr) for a missing object or
// an invalid path, or the status of making the object. A path is NUL-terminated UTF-16 in POSIX
// form; trailing "/" are not looked at. A final symbolic link means the link itself. A path or
// component of any length is taken whole: one the file system cannot hold is not found.

// The object at `path`. With `create`, a missing last component is made in its existing parent
// folder: a folder with `is_directory`, else an empty file; whatever exists already is left as it
// is and gives 0.
OSErr GetFSRefFromFilename(const char16_t* path, FSRef* ref, bool create, bool is_directory);

// The parent folder (which must exist) and the last component, which need not; a component of more
// than 255 units gives -43.
OSErr GetParentFSRAndNameFromFilePath(const char16_t* path, FSRef* parent, HFSUniStr255* name);

// The present path of a referenced object, whatever its length; nothing when it is gone.
std::optional<std::string> PathOfReference(const FSRef& ref);

}  // namespace orvik
