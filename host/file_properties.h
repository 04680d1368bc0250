// The properties of a file or folder besides its content.
//
// Properties that the volume does not support, or that the caller may not set, are left out without
// a failure. A full volume and errors of the disk are failures.
#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Gives the attributes of `name` in the open folder `folder`, as statx(2): the basic fields, the
// birth time and the mount. `flags` may hold AT_SYMLINK_NOFOLLOW, for a link itself, or
// AT_EMPTY_PATH with the name "", for the descriptor `folder` itself. Does not trigger an
// automount. Returns 0 or an errno.
int StatAll(int folder, const char* name, int flags, struct statx* info);

enum class Owner {
  kMaker,   // a copy gets the caller as its owner
  kSource,  // a moved file keeps its owner, if the caller may set it
};

// Attributes that CopyAttributes found but did not copy.
struct OtherAttributes {
  bool record = false;        // of the creation date; use CopyCreationDate
  bool capabilities = false;  // of a program; use CopyCapabilities
};

// Copies extended attributes from the open file or folder `from` to the open `to`: with
// Owner::kMaker only the user attributes and the access lists, otherwise all. `others` receives the
// attributes that must be copied later. 0 or an errno.
int CopyAttributes(int from, Owner owner, int to, OtherAttributes* others);

// Gives the open file `to` the capabilities of the program `from` (capabilities(7)). Call this
// last, because the kernel removes capabilities when the content or the owner changes. 0 or an
// errno.
int CopyCapabilities(int from, int to);

// Gives the open `to` the mode of `old`, and with Owner::kSource also its owner and group. Leaves
// out the set-user or set-group bit if the owner or group differs. 0 or an errno.
int CopyMode(const struct stat& old, Owner owner, int to);

// Copies all of these, as far as possible, to a file that replaces an old one. With `from` -1 no
// extended attributes are copied.
void KeepProperties(int from, const struct stat& old, int to);

// The creation date of a file or folder, which a copy keeps.
//
// The kernel records when a file was created, and no call can set that. A different date is kept in
// the extended attribute "user.orvik.catalog": 64 bytes, numbers with the high byte first:
//    0  version, 1
//    1  flags: 2 creation date set; 1 (locked) and 4 (backup date set) are of earlier versions
//    2  32 bytes of Finder information, of earlier versions
//   34  creation date, then backup date: 6 bytes seconds since 1904, 2 bytes 65536ths each
//   50  unused, 0
// A copy of the file keeps the fields of earlier versions.

// The seconds from 1904 to 1970.
inline constexpr std::int64_t kSecondsFrom1904To1970 = 2082844800;

// The creation date of an open file (not an O_PATH descriptor): the date that was set; otherwise
// the birth time, or the modification time if that is earlier or the volume has no birth time.
timespec CreationDate(int file, const struct statx& info);

// Gives the open file `copy` the record of `source`. Adds the creation date of `source` unless it
// equals the source's modification date to the second. `has_record` says whether `source` has the
// attribute. 0, or the errno of setting the attribute.
int CopyCreationDate(int source, const struct statx& info, bool has_record, int copy);

}  // namespace host
}  // namespace orvik
