// Memory blocks with a lock count. A handle is the block's address.
//
// Blocks come from the heap, so small ones share pages; the overhead of a block is at most 64
// bytes. A page stays pinned as long as a part of a locked block lies in it. The process has one
// table of the blocks; it is not protected against access by several threads.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory_resource>
#include <unordered_map>

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr unsigned int GMEM_FIXED = 0x0000;
inline constexpr unsigned int GMEM_ZEROINIT = 0x0040;
inline constexpr unsigned int GMEM_INVALID_HANDLE = 0x8000;

struct GlobalBlockInfo {
  DWORD size;  // bytes
  DWORD lock_count;
  DWORD flags;  // the flags given to GlobalAlloc
};

using GlobalBlocks = std::pmr::unordered_map<HANDLE, GlobalBlockInfo*>;

// From block address to a copy of its GlobalBlockInfo; null until the first allocation.
extern GlobalBlocks* GlobalBlockTable;

// Make a fresh copy of an entry for the table, and destroy it.
GlobalBlockInfo* DictionaryRetainNumBytes(const GlobalBlockInfo& entry);
void DictionaryReleaseNumBytes(GlobalBlockInfo* entry);

// A new block, zeroed with GMEM_ZEROINIT (the caller is the first to touch the pages of a large
// block). Null when memory is lacking, or for more than 2^32 - 1 bytes.
HANDLE GlobalAlloc(unsigned int flags, std::size_t bytes);
// Frees the block and undoes its locks; always null. An unknown handle is ignored.
HANDLE GlobalFree(HANDLE block);

// Pins the block's pages in memory and counts the lock; null when that fails (the limit of locked
// memory) and for an unknown handle.
void* GlobalLock(HANDLE block);
// Removes one lock; removing the last one unpins the pages that no other locked block uses. FALSE
// when that fails and for an unknown handle; TRUE, without effect, for a block without locks.
BOOL GlobalUnlock(HANDLE block);

std::size_t GlobalSize(HANDLE block);  // 0 for an unknown handle
// (low byte of the flags << 4) | low byte of the lock count; GMEM_INVALID_HANDLE if unknown.
unsigned int GlobalFlags(HANDLE block);

// Memory that components pass to each other: malloc, realloc and free.

inline void* CoTaskMemAlloc(std::size_t bytes) {
  return std::malloc(bytes);
}
inline void* CoTaskMemRealloc(void* block, std::size_t bytes) {
  return std::realloc(block, bytes);
}
inline void CoTaskMemFree(void* block) {
  std::free(block);
}

}  // namespace orvik
