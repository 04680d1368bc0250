// Memory blocks with a lock count. A handle is the block's address.
//
// Each block has pages of its own. One table of the process knows the blocks; it is not guarded
// against several threads.
#pragma once

#include <cstddef>
#include <unordered_map>

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr unsigned int GMEM_FIXED = 0x0000;
inline constexpr unsigned int GMEM_ZEROINIT = 0x0040;
inline constexpr unsigned int GMEM_INVALID_HANDLE = 0x8000;

struct GlobalBlockInfo {
  DWORD size;  // bytes
  DWORD lock_count;
  DWORD flags;  // as given to GlobalAlloc
};

using GlobalBlocks = std::unordered_map<HANDLE, GlobalBlockInfo*>;

// From block address to a copy of its GlobalBlockInfo; null until the first allocation.
extern GlobalBlocks* GlobalBlockTable;

// A fresh heap copy of an entry for the table, and its end.
GlobalBlockInfo* DictionaryRetainNumBytes(const GlobalBlockInfo& entry);
void DictionaryReleaseNumBytes(GlobalBlockInfo* entry);

// Zeroed with GMEM_ZEROINIT. Null when there is no memory, or for more than 2^32 - 1 bytes.
HANDLE GlobalAlloc(unsigned int flags, std::size_t bytes);
// Frees the block, its pages unpinned; always null. A handle that is none is ignored.
HANDLE GlobalFree(HANDLE block);

// Pins the block's pages in memory; null when that fails (the limit of locked memory) and for a
// handle that is none.
void* GlobalLock(HANDLE block);
// Unpins them. FALSE when that fails and for a handle that is none.
BOOL GlobalUnlock(HANDLE block);

std::size_t GlobalSize(HANDLE block);  // 0 for a handle that is none
// (low byte of the flags << 4) | low byte of the lock count; GMEM_INVALID_HANDLE for none.
unsigned int GlobalFlags(HANDLE block);

}  // namespace orvik
