// Buffers of megabytes, whose first touch of every small page would cost more than filling them.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

inline constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;

// Asks the system to back the memory with large pages as it is touched; harmless where it cannot.
inline void AdviseLargePages(void* memory, std::size_t size) {
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t begin = (address + kLargePage - 1) & ~(kLargePage - 1);
  const std::uintptr_t end = (address + size) & ~(kLargePage - 1);
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

// Makes room for the size, in large pages when it is large.
inline void ReserveLarge(std::string& bytes, std::size_t size) {
  bytes.reserve(size);
  if (size >= 2 * kLargePage) AdviseLargePages(bytes.data() + bytes.size(), size - bytes.size());
}

}  // namespace host
}  // namespace orvik
