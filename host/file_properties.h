// What a file or folder carries besides its content.
//
// What the volume cannot keep, or the rights do not allow, is left out; that is no failure. Want of
// room and errors of the disk are.
#pragma once

#include <sys/stat.h>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

enum class Owner {
  kMaker,   // a copy belongs to who makes it
  kSource,  // a moved file belongs to whom it belonged, where the rights allow that
};

// Gives the open file or folder `to` the extended attributes of the open one `from`: with
// Owner::kMaker those of users and the access lists, else all. 0 or an errno. `has_record` (may be
// null) says whether `from` has the attribute of creation_date.h, which is not copied here.
int CopyAttributes(int from, Owner owner, int to, bool* has_record);

// Gives the open `to` the mode, and with Owner::kSource the owner and group, that `old` has. The
// set-user and set-group bits are left out where owner or group is another. 0 or an errno.
int CopyMode(const struct stat& old, Owner owner, int to);

// All of these as far as it can be had, for a file that replaces another one; `from` may be -1:
// then no attributes are copied.
void KeepProperties(int from, const struct stat& old, int to);

}  // namespace host
}  // namespace orvik
