// Copying the content of a regular file in whatever way the kernel does it fastest.
#pragma once

#include <cstddef>

#include "host/monitor.h"
#include "host/tree_outcome.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// What is known of the source: bytes it has, bytes it has allocated.
struct ContentSize {
  long long size;
  long long allocated;
};

// Copies everything in `source` (open for reading) to the empty file `target` (open for writing):
// by sharing the blocks, else by a copy inside the kernel, else through a buffer of at most
// `buffer_size` bytes. Holes stay holes; the room for a file of more than one buffer is reserved
// before the first byte is written, where the file system can. A source that shrinks meanwhile
// gives what it still had; one of size 0 is read to its end, because files of /proc have no size.
// 0 or an errno; the target is then incomplete, and `side` says which of the two failed. The
// monitor (may be null) is told every byte, holes too, in pieces of at most 4 MiB, and may stop the
// copy (ECANCELED).
int CopyContent(int source, int target, const ContentSize& source_size, std::size_t buffer_size,
                Side* side, Monitor* monitor);

}  // namespace host
}  // namespace orvik
