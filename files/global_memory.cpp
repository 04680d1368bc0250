#include "files/global_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace orvik {

GlobalBlocks* GlobalBlockTable = nullptr;

namespace {

// The table's nodes and entries are small and many: a pool avoids a heap header for each.
std::pmr::memory_resource& TablePool() {
  static auto* const pool = new std::pmr::unsynchronized_pool_resource;
  return *pool;
}

GlobalBlockInfo* InfoOf(HANDLE block) {
  if (GlobalBlockTable == nullptr) return nullptr;
  const auto found = GlobalBlockTable->find(block);
  return found == GlobalBlockTable->end() ? nullptr : found->second;
}

// The kernel pins pages, not blocks, and keeps no count. Only the first and the last page of a
// block can also hold parts of other blocks. So only for these pages the locked blocks are counted.
class PinnedEdges {
 public:
  static int Pin(HANDLE block, std::size_t size) {
    if (size == 0) return 0;
    if (mlock(block, size) != 0) return errno;
    const auto [first, last] = EdgesOf(block, size);
    ++Blocks()[first];
    if (last != first) ++Blocks()[last];
    return 0;
  }

  static int Unpin(HANDLE block, std::size_t size) {
    if (size == 0) return 0;
    const auto [first, last] = EdgesOf(block, size);
    const std::uintptr_t begin = Blocks()[first] > 1 ? first + 1 : first;
    const std::uintptr_t end = Blocks()[last] > 1 ? last : last + 1;
    if (begin < end) {
      if (munlock(reinterpret_cast<void*>(begin * PageSize()), (end - begin) * PageSize()) != 0) {
        return errno;
      }
    }
    Drop(first);
    if (last != first) Drop(last);
    return 0;
  }

 private:
  static std::size_t PageSize() {
    static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
  }
  static std::pair<std::uintptr_t, std::uintptr_t> EdgesOf(HANDLE block, std::size_t size) {
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    return {address / PageSize(), (address + size - 1) / PageSize()};
  }
  // Maps the number of a page to the count of locked blocks in it.
  static std::unordered_map<std::uintptr_t, std::size_t>& Blocks() {
    static auto* const blocks = new std::unordered_map<std::uintptr_t, std::size_t>;
    return *blocks;
  }
  static void Drop(std::uintptr_t page) {
    if (--Blocks()[page] == 0) Blocks().erase(page);
  }
};

}  // namespace

GlobalBlockInfo* DictionaryRetainNumBytes(const GlobalBlockInfo& entry) {
  void* const copy = TablePool().allocate(sizeof entry, alignof(GlobalBlockInfo));
  return new (copy) GlobalBlockInfo(entry);
}

void DictionaryReleaseNumBytes(GlobalBlockInfo* entry) {
  TablePool().deallocate(entry, sizeof *entry, alignof(GlobalBlockInfo));
}

HANDLE GlobalAlloc(unsigned int flags, std::size_t bytes) {
  if (bytes > std::numeric_limits<DWORD>::max()) return nullptr;
  void* const block = (flags & GMEM_ZEROINIT) != 0 ? std::calloc(bytes == 0 ? 1 : bytes, 1)
                                                   : std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr) return nullptr;
  GlobalBlockInfo* entry = nullptr;
  try {
    if (GlobalBlockTable == nullptr) {
      GlobalBlockTable = new GlobalBlocks(&TablePool());
      GlobalBlockTable->max_load_factor(4);  // a bucket costs 8 bytes
    }
    entry = DictionaryRetainNumBytes({static_cast<DWORD>(bytes), 0, flags});
    GlobalBlockTable->emplace(block, entry);
  } catch (const std::bad_alloc&) {
    if (entry != nullptr) DictionaryReleaseNumBytes(entry);
    std::free(block);
    return nullptr;
  }
  return block;
}

HANDLE GlobalFree(HANDLE block) {
  GlobalBlockInfo* info = InfoOf(block);
  if (info == nullptr) return nullptr;
  if (info->lock_count != 0) PinnedEdges::Unpin(block, info->size);
  GlobalBlockTable->erase(block);
  DictionaryReleaseNumBytes(info);
  std::free(block);
  return nullptr;
}

void* GlobalLock(HANDLE block) {
  GlobalBlockInfo* info = InfoOf(block);
  if (info == nullptr) return nullptr;
  if (info->lock_count == 0 && PinnedEdges::Pin(block, info->size) != 0) return nullptr;
  ++info->lock_count;
  return block;
}

BOOL GlobalUnlock(HANDLE block) {
  GlobalBlockInfo* info = InfoOf(block);
  if (info == nullptr) return FALSE;
  if (info->lock_count == 1 && PinnedEdges::Unpin(block, info->size) != 0) return FALSE;
  if (info->lock_count != 0) --info->lock_count;
  return TRUE;
}

std::size_t GlobalSize(HANDLE block) {
  const GlobalBlockInfo* info = InfoOf(block);
  return info == nullptr ? 0 : info->size;
}

unsigned int GlobalFlags(HANDLE block) {
  const GlobalBlockInfo* info = InfoOf(block);
  if (info == nullptr) return GMEM_INVALID_HANDLE;
  return ((info->flags & 0xFF) << 4) | (info->lock_count & 0xFF);
}

}  // namespace orvik
