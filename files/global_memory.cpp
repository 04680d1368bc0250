#include "files/global_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <limits>

namespace orvik {

GlobalBlocks* GlobalBlockTable = nullptr;

namespace {

GlobalBlockInfo* InfoOf(HANDLE block) {
  if (GlobalBlockTable == nullptr) return nullptr;
  const auto found = GlobalBlockTable->find(block);
  return found == GlobalBlockTable->end() ? nullptr : found->second;
}

// Whole pages, so that unpinning one block leaves the others pinned. Null when there are no such.
void* NewPages(std::size_t bytes) {
  static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t rounded = bytes == 0 ? page : (bytes + page - 1) / page * page;
  return rounded < bytes ? nullptr : std::aligned_alloc(page, rounded);
}

}  // namespace

GlobalBlockInfo* DictionaryRetainNumBytes(const GlobalBlockInfo& entry) {
  return new GlobalBlockInfo(entry);
}

void DictionaryReleaseNumBytes(GlobalBlockInfo* entry) {
  delete entry;
}

HANDLE GlobalAlloc(unsigned int flags, std::size_t bytes) {
  if (bytes > std::numeric_limits<DWORD>::max()) return nullptr;
  if (GlobalBlockTable == nullptr) GlobalBlockTable = new GlobalBlocks;
  void* block = NewPages(bytes);
  if (block == nullptr) return nullptr;
  if ((flags & GMEM_ZEROINIT) != 0) std::memset(block, 0, bytes);
  GlobalBlockTable->emplace(block, DictionaryRetainNumBytes({static_cast<DWORD>(bytes), 0, flags}));
  return block;
}

HANDLE GlobalFree(HANDLE block) {
  GlobalBlockInfo* info = InfoOf(block);
  if (info == nullptr) return nullptr;
  if (info->lock_count != 0) munlock(block, info->size);
  GlobalBlockTable->erase(block);
  DictionaryReleaseNumBytes(info);
  std::free(block);
  return nullptr;
}

void* GlobalLock(HANDLE block) {
  GlobalBlockInfo* info = InfoOf(block);
  if (info == nullptr || mlock(block, info->size) != 0) return nullptr;
  ++info->lock_count;
  return block;
}

BOOL GlobalUnlock(HANDLE block) {
  GlobalBlockInfo* info = InfoOf(block);
  if (info == nullptr || munlock(block, info->size) != 0) return FALSE;
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
