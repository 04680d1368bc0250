// The checksum of an open file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "host/long_operation.h"

namespace orvik {

// The checksum of the first `size` bytes of a regular file, of a large one by two threads; with
// size 0, of everything in it, because files of /proc have no size. Nothing when the file cannot be
// read, and when the monitor (may be null) says stop.
std::optional<std::uint32_t> ChecksumOfFile(int file, std::size_t size, host::Monitor* monitor);

}  // namespace orvik
