// Buffers of megabytes, in large pages. In small pages, the first touch of every page would cost
// more than filling the buffer.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

inline constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;

// Asks the kernel to use large pages for the memory. Has no effect where that is not possible.
inline void AdviseLargePages(void* memory, std::size_t size) {
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t begin = (address + kLargePage - 1) & ~(kLargePage - 1);
  const std::uintptr_t end = (address + size) & ~(kLargePage - 1);
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

// Reserves `size` bytes, in large pages when that is much.
inline void ReserveLarge(std::string& bytes, std::size_t size) {
  bytes.reserve(size);
  if (size >= 2 * kLargePage) AdviseLargePages(bytes.data() + bytes.size(), size - bytes.size());
}

}  // namespace host
}  // namespace orvik
