// Copying the content of a regular file in whatever way the kernel does it fastest, or of a link.
#pragma once

#include <cstddef>

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
// gives what it still had. 0 or an errno; the target is then incomplete.
int CopyContent(int source, int target, const ContentSize& source_size, std::size_t buffer_size);

// The same, with a look at the source's size.
int CopyContent(int source, int target, std::size_t buffer_size);

// Makes a symbolic link with the text of another: 0 or an errno (EEXIST when the name is taken).
int CopyLinkText(int from, const char* from_name, int to, const char* to_name);

}  // namespace host
}  // namespace orvik
