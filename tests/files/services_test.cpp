// Messages, checksums, counted strings, and memory that passes between components.
#include <climits>
#include <fstream>

#include "files/counted_strings.h"
#include "files/global_memory.h"
#include "files/messages.h"
#include "tests/properties/checksum.h"
#include "tests/support/alert_answer.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using desktop::AlertLevel;
using desktop::AlertRequest;

TEST(Messages, LoadsErrorTexts) {
  const std::pair<unsigned, std::u16string> cases[] = {
      {61473, u"Operation not supported"}, {61474, u"Resource not found"},
      {61475, u"Out of memory"},           {61476, u"User cannot perform operation"},
      {61477, u"Invalid argument"},        {12345, u"Unknown error"}};
  char16_t buffer[64];
  for (const auto& [number, text] : cases) {
    for (const int size : {64, 6, 1}) {
      const auto length = std::min(text.size(), static_cast<std::size_t>(size - 1));
      EXPECT_EQ(AfxLoadString(number, buffer, size), static_cast<int>(length));
      EXPECT_EQ(buffer, text.substr(0, length));
    }
  }
  buffer[0] = u'x';
  for (const int size : {0, -3}) EXPECT_EQ(AfxLoadString(12345, buffer, size), 0);
  EXPECT_EQ(AfxLoadString(12345, nullptr, 9), 0);
  EXPECT_EQ(buffer[0], u'x');
}

// What a message box gives and shows, answered with one of its buttons.
std::pair<int, AlertRequest> Show(const char16_t* message, unsigned type,
                                  std::optional<int> button) {
  return test::Answered(button, [&] { return AfxMessageBox(message, type); });
}

TEST(Messages, EveryButtonGivesItsResult) {
  const std::tuple<unsigned, std::vector<std::string>, std::vector<int>, int> sets[] = {
      {0, {"OK"}, {1}, 1},
      {1, {"OK", "Cancel"}, {1, 2}, 2},
      {2, {"Abort", "Retry", "Ignore"}, {3, 4, 5}, 4},
      {3, {"Yes", "No", "Cancel"}, {6, 7, 2}, 7},
      {4, {"Yes", "No"}, {6, 7}, 7},
      {5, {"Retry", "Cancel"}, {4, 2}, 2},
      {6, {"OK"}, {0}, 0},
      {15, {"OK"}, {0}, 0},
  };
  for (const auto& [type, labels, results, closed] : sets) {
    for (std::size_t button = 0; button < results.size(); ++button) {
      const auto [result, shown] = Show(u"m", type, static_cast<int>(button));
      EXPECT_EQ(shown.buttons, labels);
      EXPECT_EQ(shown.default_button, 0);
      EXPECT_EQ(shown.cancel_button, labels.size() > 1 ? 1 : -1);
      EXPECT_EQ(result, results[button]) << type;
    }
    EXPECT_EQ(Show(u"m", type, desktop::kAlertClosed).first, closed) << type;
    EXPECT_EQ(Show(u"m", type, std::nullopt).first, 0);
  }
}

TEST(Messages, IconAndDefaultButtonComeFromTheType) {
  const std::tuple<unsigned, AlertLevel, int> cases[] = {
      {0x03, AlertLevel::kPlain, 0},  {0x13, AlertLevel::kStop, 0},
      {0x23, AlertLevel::kNote, 0},   {0x33, AlertLevel::kCaution, 0},
      {0x43, AlertLevel::kNote, 0},   {0x73, AlertLevel::kCaution, 0},
      {0x53, AlertLevel::kNote, 0},   {0x103, AlertLevel::kPlain, 1},
      {0x203, AlertLevel::kPlain, 2}, {0x124, AlertLevel::kNote, 1},
  };
  for (const auto& [type, level, default_button] : cases) {
    const AlertRequest request = Show(u"m", type, 0).second;
    EXPECT_EQ(request.level, level) << type;
    EXPECT_EQ(request.default_button, default_button) << type;
    EXPECT_EQ(request.header, "Alert");
  }
}

TEST(Messages, TheMessageIsEightBitsAndAtMost255) {
  EXPECT_EQ(Show(nullptr, 0, 0).second.message, "None");
  EXPECT_EQ(Show(u"", 0, 0).second.message, "");
  EXPECT_EQ(Show(u"caf\u00E9 \u0141", 0, 0).second.message, "caf\xC3\xA9 A");
  const std::u16string long_text(300, u'x');
  EXPECT_EQ(Show(long_text.c_str(), 0, 0).second.message, std::string(255, 'x'));

  const auto [result, shown] = test::Answered(0, [] { return AfxMessageBox(61475u); });
  EXPECT_EQ(result, 1);
  EXPECT_EQ(shown.message, "Out of memory");
  EXPECT_EQ(test::Answered(0, [] { return AfxMessageBox(0); }).second.message, "Unknown error");
}

TEST(Checksum, GivesTheCheckValues) {
  gen_crc_table();
  EXPECT_EQ(_CalculateCRC32("123456789", 9), 0x89A1897Fu);
  EXPECT_EQ(_CalculateCRC32("a", 1), 0xA864DB20u);
  EXPECT_EQ(_CalculateCRC32("a", 0), 0u);
  EXPECT_EQ(_CalculateCRC32("a", -1), 0u);
  EXPECT_EQ(CalculateCRC32(nullptr, 5), 0u);
}

TEST(Checksum, EveryVariantAgrees) {
  EXPECT_EQ(FirstFault(3'000, 700, ChecksumFault), "");
}

using std::u16string_view;

TEST(CountedStrings, CarryTheirLengthBeforeTheText) {
  BSTR text = SysAllocStringLen(u"a\0b", 3);
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, reinterpret_cast<const char*>(text) - 4, 4);
  EXPECT_EQ(bytes, 6u);
  EXPECT_EQ(SysStringLen(text), 3);
  EXPECT_EQ(SysStringByteLen(text), 6);
  EXPECT_EQ(u16string_view(text, 4), u16string_view(u"a\0b\0", 4));
  SysFreeString(text);

  BSTR zeros = SysAllocStringLen(nullptr, 2);
  EXPECT_EQ(u16string_view(zeros, 3), u16string_view(u"\0\0\0", 3));
  SysFreeString(zeros);
  BSTR odd = SysAllocStringByteLen("abc", 3);
  EXPECT_EQ(SysStringLen(odd), 1);
  EXPECT_EQ(SysStringByteLen(odd), 3);
  EXPECT_EQ(std::memcmp(odd, "abc\0\0", 5), 0);
  SysFreeString(odd);
  for (auto* make : {SysAllocString, W2BSTR, T2BSTR, OLE2BSTR}) {
    BSTR made = make(u"xy");
    EXPECT_EQ(u16string_view(made), u"xy");
    SysFreeString(made);
    EXPECT_EQ(make(nullptr), nullptr);
  }
  EXPECT_EQ(SysStringLen(nullptr) + SysStringByteLen(nullptr), 0);
  SysFreeString(nullptr);
  EXPECT_EQ(SysAllocStringLen(u"", -1), nullptr);
  EXPECT_EQ(SysAllocStringByteLen("", INT_MIN), nullptr);
}

TEST(CountedStrings, AreReplaced) {
  BSTR text = SysAllocString(u"first");
  EXPECT_TRUE(SysReAllocString(&text, text + 2));  // a piece of the old one
  EXPECT_EQ(u16string_view(text), u"rst");
  EXPECT_TRUE(SysReAllocStringLen(&text, text, 2));
  EXPECT_EQ(u16string_view(text), u"rs");
  EXPECT_TRUE(SysReAllocString(&text, nullptr));
  EXPECT_EQ(text, nullptr);
  EXPECT_FALSE(SysReAllocString(nullptr, u"x"));
}

TEST(PascalStrings, AreCutAt255Bytes) {
  unsigned char pascal[257] = {};
  pascal[256] = '#';
  EXPECT_EQ(CToPStr(pascal, "ab"), 2);
  EXPECT_EQ(std::string(pascal, pascal + 3), std::string("\x02") + "ab");
  EXPECT_EQ(WideToPStr(pascal, u"\u0141b"), 2);  // the low byte
  EXPECT_EQ(pascal[1], 0x41);
  EXPECT_EQ(WideToPStr(pascal, std::u16string(300, u'x').c_str()), 255);
  EXPECT_EQ(pascal[0], 255);
  EXPECT_EQ(pascal[256], '#');
  EXPECT_EQ(CToPStr(pascal, ""), 0);
}

TEST(TaskMemory, KeepsItsContentAsItGrows) {
  char* block = static_cast<char*>(CoTaskMemRealloc(nullptr, 3));
  std::memcpy(block, "abc", 3);
  block = static_cast<char*>(CoTaskMemRealloc(block, 100'000));
  EXPECT_EQ(std::string(block, 3), "abc");
  CoTaskMemFree(block);
  CoTaskMemFree(nullptr);
}

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
}  // namespace orvik::test
