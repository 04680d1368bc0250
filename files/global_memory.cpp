#include "files/global_memory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <limits>

namespace orvik {

GlobalBlocks* GlobalBlockTable = nullptr;

namespace {

GlobalBlockInfo* InfoOf(HANDLE block) {
  if (GlobalBlockTable == nullptr) return nullptr;
  const auto found = GlobalBlockTable->find(block);
  return found == GlobalBlockTable->end() ? nullptr : found->second;
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
  void* block = (flags & GMEM_ZEROINIT) != 0 ? std::calloc(bytes != 0 ? bytes : 1, 1)
                                             : std::malloc(bytes != 0 ? bytes : 1);
  if (block != nullptr) {
    GlobalBlockTable->emplace(block,
                              DictionaryRetainNumBytes({static_cast<DWORD>(bytes), 0, flags}));
  }
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
