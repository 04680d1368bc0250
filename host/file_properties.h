// What a file carries besides its content.
#pragma once

#include <sys/stat.h>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Gives the open file `to` the mode, and the owner, group and extended attributes as far as the
// rights and the volume allow, of the open file `from` (-1 when it cannot be opened: no attributes)
// whose attributes are `old`. Set-user and set-group bits are left out where the owner or group
// could not be kept.
void KeepProperties(int from, const struct stat& old, int to);

}  // namespace host
}  // namespace orvik
