// The variants of the checksum, which all give the same result, and the checksum of an open file.
// For sources of this folder, tests and benchmarks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "host/long_operation.h"

namespace orvik {

// The checksum of the first `size` bytes of a regular file; two threads read a large one. With size
// 0 the checksum of its whole content, because files of /proc have no size. No value when the file
// cannot be read or is shorter, when memory is lacking, and when the monitor (may be null) stops
// the operation.
std::optional<std::uint32_t> ChecksumOfFile(int file, std::size_t size, host::Monitor* monitor);

namespace crc32 {

inline constexpr std::uint32_t kPolynomial = 0x04C11DB7;

// tables[0] is the table of the bytewise rule; tables[k][b] is the checksum of the byte b followed
// by k zero bytes.
using Tables = std::array<std::array<std::uint32_t, 256>, 16>;
const Tables& GetTables();

// Sixteen bytes per step through the tables.
std::uint32_t Portable(std::uint32_t checksum, std::span<const unsigned char> bytes);

// 64 bytes per step through carry-less multiplication. Call it only if the processor has that.
bool HasCarrylessMultiplication();
std::uint32_t CarrylessMultiplication(std::uint32_t checksum, std::span<const unsigned char> bytes);

// 128 bytes per step through carry-less multiplication of two lanes at once. Call it only if the
// processor has that.
bool HasWideCarrylessMultiplication();
std::uint32_t WideCarrylessMultiplication(std::uint32_t checksum,
                                          std::span<const unsigned char> bytes);

// The checksum of two adjacent runs of bytes from the checksum of each; `length` is the number of
// bytes in the second.
std::uint32_t Join(std::uint32_t first, std::uint32_t second, std::uint64_t length);

}  // namespace crc32
}  // namespace orvik
