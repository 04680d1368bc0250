#include "files/global_memory.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <random>
#include <set>
#include <vector>

namespace orvik {
namespace {

TEST(GlobalMemory, CountsLocksOfItsBlocks) {
  const HANDLE block = GlobalAlloc(GMEM_ZEROINIT | 0x02, 5000);
  ASSERT_NE(block, nullptr);
  const char* const bytes = static_cast<const char*>(block);
  EXPECT_TRUE(std::all_of(bytes, bytes + 5000, [](char byte) { return byte == 0; }));
  EXPECT_EQ(GlobalSize(block), 5000u);
  for (const unsigned count : {1u, 2u}) {
    EXPECT_EQ(GlobalLock(block), block);
    EXPECT_EQ(GlobalFlags(block), 0x420u + count);
    EXPECT_EQ(GlobalBlockTable->at(block)->lock_count, count);
  }
  for (const unsigned count : {1u, 0u, 0u}) {
    EXPECT_TRUE(GlobalUnlock(block));
    EXPECT_EQ(GlobalFlags(block), 0x420u + count);
  }
  EXPECT_EQ(GlobalFree(block), nullptr);
  EXPECT_EQ(GlobalFlags(block), GMEM_INVALID_HANDLE);
}

// A figure of this process in KiB: "VmLck:" is pinned memory, "VmRSS:" what is resident.
long MemoryOf(const char* figure) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long amount = 0;
    if (word == figure && status >> amount) return amount;
  }
  return -1;
}

// Blocks in one page, across pages and of whole pages are locked and unlocked in all orders; the
// kernel's figure must be that of the pages with a locked block.
TEST(GlobalMemory, PinsEachPageAsLongAsALockedBlockUsesIt) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const long before = MemoryOf("VmLck:");
  std::vector<HANDLE> blocks;
  for (const std::size_t size : {16u, 100u, 5000u, 40u, 9000u, 16u, 4096u, 200000u}) {
    blocks.push_back(GlobalAlloc(GMEM_FIXED, size));
  }
  const auto expected = [&] {
    std::set<std::uintptr_t> pages;
    for (const HANDLE block : blocks) {
      if ((GlobalFlags(block) & 0xFF) == 0) continue;
      const auto first = reinterpret_cast<std::uintptr_t>(block);
      for (auto at = first / page; at <= (first + GlobalSize(block) - 1) / page; ++at) {
        pages.insert(at);
      }
    }
    return static_cast<long>(pages.size() * page / 1024);
  };
  if (GlobalLock(blocks[0]) != nullptr && MemoryOf("VmLck:") > before) {
    // Not where a sanitizer or the limit keeps memory from being pinned.
    std::minstd_rand random(7);
    for (int step = 0; step < 400; ++step) {
      const HANDLE block = blocks[random() % blocks.size()];
      EXPECT_TRUE(random() % 2 == 0 ? GlobalLock(block) == block : GlobalUnlock(block) != FALSE);
      ASSERT_EQ(MemoryOf("VmLck:") - before, expected()) << step;
    }
  }
  for (const HANDLE block : blocks) GlobalFree(block);
  EXPECT_EQ(MemoryOf("VmLck:"), before);
}

TEST(GlobalMemory, UntouchedPagesStayUntouched) {
  const long before = MemoryOf("VmRSS:");
  const HANDLE large = GlobalAlloc(GMEM_ZEROINIT, 1u << 30);
  if (large != nullptr) {
    EXPECT_EQ(static_cast<const char*>(large)[1u << 29], 0);
  }
  EXPECT_LT(MemoryOf("VmRSS:") - before, 64 << 10);
  GlobalFree(large);
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
  EXPECT_EQ(GlobalAlloc(GMEM_FIXED, SIZE_MAX), nullptr);
  const HANDLE empty = GlobalAlloc(GMEM_FIXED, 0);
  EXPECT_EQ(GlobalSize(empty), 0u);
  EXPECT_EQ(GlobalFlags(empty), 0u);
  GlobalFree(empty);
}

}  // namespace
}  // namespace orvik
