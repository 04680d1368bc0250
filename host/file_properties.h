// The properties of a file or folder besides its content.
//
// Properties that the volume cannot keep, or the permissions do not allow, are left out without a
// failure. A full volume and errors of the disk are failures.
#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Gives what statx(2) knows of `name` in the open folder `folder`: the basic fields, the birth time
// and the mount. `flags` may hold AT_SYMLINK_NOFOLLOW, for a link itself, or AT_EMPTY_PATH with the
// name "", for the descriptor `folder` itself. Mounts nothing. Returns 0 or an errno.
int StatAll(int folder, const char* name, int flags, struct statx* info);

enum class Owner {
  kMaker,   // a copy belongs to who makes it
  kSource,  // a moved file belongs to whom it belonged, where the rights allow that
};

// What CopyAttributes found and left out.
struct OtherAttributes {
  bool record = false;        // of the creation date: CopyCreationDate
  bool capabilities = false;  // of a program: CopyCapabilities
};

// Gives the open file or folder `to` the extended attributes of the open one `from`: with
// Owner::kMaker those of users and the access lists, else all. 0 or an errno. `others` receives
// which ones are to be copied later.
int CopyAttributes(int from, Owner owner, int to, OtherAttributes* others);

// Gives the open file `to` the capabilities of the program `from` (capabilities(7)). The kernel
// takes them away when the content or the owner changes, so that this comes last. 0 or an errno.
int CopyCapabilities(int from, int to);

// Gives the open `to` the mode, and with Owner::kSource the owner and group, that `old` has. The
// set-user and set-group bits are left out where owner or group is another. 0 or an errno.
int CopyMode(const struct stat& old, Owner owner, int to);

// All of these as far as it can be had, for a file that replaces another one; `from` may be -1:
// then no attributes are copied.
void KeepProperties(int from, const struct stat& old, int to);

// The creation date of a file or folder, which a copy takes over.
//
// The kernel records when a file was created, and no call can set that. A date that differs is kept
// in the extended attribute "user.orvik.catalog": 64 bytes, numbers with the high byte first:
//    0  version, 1
//    1  flags: 2 creation date set; 1 (locked) and 4 (backup date set) are of earlier versions
//    2  32 bytes of Finder information, of earlier versions
//   34  creation date, then backup date: 6 bytes seconds since 1904, 2 bytes 65536ths each
//   50  unused, 0
// The fields of earlier versions are copied with the file.

// From 1904 to 1970.
inline constexpr std::int64_t kSecondsFrom1904To1970 = 2082844800;

// Of an open file (not an O_PATH descriptor): the date that was set; else the birth time, or the
// modification time when that is earlier or the volume knows no birth time.
timespec CreationDate(int file, const struct statx& info);

// Gives the open copy the record of the source, with the source's creation date when it is not, to
// the second, its modification date. `has_record` says whether the source has the attribute. 0, or
// the errno of setting the attribute.
int CopyCreationDate(int source, const struct statx& info, bool has_record, int copy);

}  // namespace host
}  // namespace orvik
