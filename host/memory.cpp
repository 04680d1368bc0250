#include "host/memory.h"

#include <sys/mman.h>

#include <cstdint>


namespace orvik::host {
namespace {

constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;

}  // namespace

void AdviseLargePages(void* memory, std::size_t size) {
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t begin = (address + kLargePage - 1) & ~(kLargePage - 1);
  const std::uintptr_t end = (address + size) & ~(kLargePage - 1);
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

void ReserveLarge(std::string& bytes, std::size_t size) {
  bytes.reserve(size);
  if (size >= 2 * kLargePage) AdviseLargePages(bytes.data() + bytes.size(), size - bytes.size());
}

}  // namespace orvik::host
