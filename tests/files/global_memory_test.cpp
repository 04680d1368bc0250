#include "files/global_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <limits>
#include <string>

namespace orvik {
namespace {

TEST(GlobalMemory, CountsLocksOfItsBlocks) {
  const HANDLE block = GlobalAlloc(GMEM_ZEROINIT | 0x02, 5000);
  ASSERT_NE(block, nullptr);
  const char* const bytes = static_cast<const char*>(block);
  EXPECT_TRUE(std::all_of(bytes, bytes + 5000, [](char byte) { return byte == 0; }));
  EXPECT_EQ(GlobalSize(block), 5000u);
  EXPECT_EQ(GlobalFlags(block), 0x420u);
  EXPECT_EQ(GlobalLock(block), block);
  EXPECT_EQ(GlobalLock(block), block);
  EXPECT_EQ(GlobalFlags(block), 0x422u);
  EXPECT_EQ(GlobalBlockTable->at(block)->lock_count, 2u);
  EXPECT_TRUE(GlobalUnlock(block));
  EXPECT_EQ(GlobalFlags(block), 0x421u);
  EXPECT_TRUE(GlobalUnlock(block));
  EXPECT_TRUE(GlobalUnlock(block));  // the count stays at 0
  EXPECT_EQ(GlobalFlags(block), 0x420u);
  EXPECT_EQ(GlobalFree(block), nullptr);
  EXPECT_EQ(GlobalFlags(block), GMEM_INVALID_HANDLE);
}

// Pinned memory of this process in KiB.
long PinnedMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long amount = 0;
    if (word == "VmLck:" && status >> amount) return amount;
  }
  return -1;
}

TEST(GlobalMemory, UnpinsNoOtherBlock) {
  const long before = PinnedMemory();
  const HANDLE a = GlobalAlloc(GMEM_FIXED, 100);
  const HANDLE b = GlobalAlloc(GMEM_FIXED, 100);
  const bool is_pinned = GlobalLock(a) != nullptr && GlobalLock(b) != nullptr;
  const long both = PinnedMemory();
  if (is_pinned && both > before) {  // not where a sanitizer or the limit keeps memory from it
    EXPECT_TRUE(GlobalUnlock(a));
    EXPECT_EQ(PinnedMemory() - before, (both - before) / 2);
  }
  GlobalFree(a);
  GlobalFree(b);
  EXPECT_EQ(PinnedMemory(), before);
}

TEST(GlobalMemory, KnowsOnlyItsOwnBlocks) {
  int other = 0;
  for (const HANDLE block : {static_cast<HANDLE>(nullptr), static_cast<HANDLE>(&other)}) {
    EXPECT_EQ(GlobalLock(block), nullptr);
    EXPECT_FALSE(GlobalUnlock(block));
    EXPECT_EQ(GlobalSize(block), 0u);
    EXPECT_EQ(GlobalFlags(block), 0x8000u);
    EXPECT_EQ(GlobalFree(block), nullptr);
  }
  EXPECT_EQ(GlobalAlloc(GMEM_FIXED, std::numeric_limits<std::size_t>::max()), nullptr);
  const HANDLE empty = GlobalAlloc(GMEM_FIXED, 0);
  EXPECT_EQ(GlobalSize(empty), 0u);
  EXPECT_EQ(GlobalFlags(empty), 0u);
  GlobalFree(empty);
}

}  // namespace
}  // namespace orvik
