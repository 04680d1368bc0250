#include "platform/core_foundation/property_list_xml_memory.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <pugixml.hpp>
#include <utility>

#include "host/large_buffer.h"

namespace orvik {
namespace {

constexpr size_t kFirstBlock = size_t{64} << 10;
constexpr size_t kLargestBlock = size_t{8} << 20;
constexpr size_t kAlignment = 16;

thread_local XmlNodeMemory* current_memory = nullptr;

void* Allocate(size_t size) {
  return current_memory != nullptr ? current_memory->Take(size) : malloc(size);
}

void Deallocate(void* address) {
  if (current_memory == nullptr || !current_memory->Holds(address)) free(address);
}

}  // namespace

XmlNodeMemory::Scope::Scope(XmlNodeMemory& memory)
    : outer_(std::exchange(current_memory, &memory)) {
  static const bool is_installed =
      (pugi::set_memory_management_functions(Allocate, Deallocate), true);
  static_cast<void>(is_installed);
}

XmlNodeMemory::Scope::~Scope() {
  current_memory = outer_;
}

void* XmlNodeMemory::Take(size_t size) {
  size = (size + kAlignment - 1) / kAlignment * kAlignment;
  if (size > limit_ - given_) return nullptr;
  given_ += size;
  if (blocks_.empty() || blocks_.back().size - used_ < size) {
    const size_t grown =
        blocks_.empty() ? kFirstBlock : std::min(kLargestBlock, 2 * blocks_.back().size);
    const size_t block_size = std::max(size, grown);
    blocks_.push_back({std::make_unique_for_overwrite<char[]>(block_size), block_size});
    host::AdviseLargePages(blocks_.back().bytes.get(), block_size);
    used_ = 0;
  }
  return blocks_.back().bytes.get() + std::exchange(used_, used_ + size);
}

bool XmlNodeMemory::Holds(const void* address) const {
  const auto* byte = static_cast<const char*>(address);
  const std::less<const char*> before;
  return std::any_of(blocks_.begin(), blocks_.end(), [&](const Block& block) {
    return !before(byte, block.bytes.get()) && before(byte, block.bytes.get() + block.size);
  });
}

}  // namespace orvik
