// Where small pieces can be put without a call.
#pragma once

#include <cstddef>

#include "streams/copy_piece.h"

namespace [[gnu::visibility("default")]] orvik {

// The free bytes at the end of a stream's buffer. They belong to the stream: every call of it may
// move or close them.
struct WriteRoom {
  unsigned char* next = nullptr;
  std::size_t free = 0;

  // False, and nothing is put, when there is no room; the stream's Write then does it.
  bool Put(const void* data, std::size_t count) {
    if (count > free) return false;
    CopyPiece(next, data, count);
    next += count;
    free -= count;
    return true;
  }
};

}  // namespace orvik
