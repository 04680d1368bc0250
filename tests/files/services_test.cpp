// Messages, checksums, counted strings, and memory that components pass to each other.
#include <climits>

#include "files/checksum.h"
#include "files/counted_strings.h"
#include "files/global_memory.h"
#include "files/messages.h"
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
    for (const int size : {64, 6, 1, 0, -3}) {
      const std::u16string expected = size > 0 ? text.substr(0, size - 1) : u"x";
      buffer[0] = u'x';
      EXPECT_EQ(AfxLoadString(number, buffer, size), size > 0 ? int(expected.size()) : 0);
      EXPECT_EQ(buffer[0], expected[0]);
      EXPECT_TRUE(size <= 0 || buffer == expected) << size;
    }
  }
  EXPECT_EQ(AfxLoadString(12345, nullptr, 9), 0);
}

// The result and the alert of a message box that is answered with one of its buttons.
std::pair<int, AlertRequest> Show(const char16_t* message, unsigned type,
                                  std::optional<int> button) {
  return test::Answered(button, [&] { return AfxMessageBox(message, type); });
}

// The labels, the result of each button, and the result of closing the alert.
TEST(Messages, EveryButtonGivesItsResult) {
  for (const auto& [type, labels, results, closed] : Rows<4, std::string>(
           "0 OK 1 1; 1 OK,Cancel 12 2; 2 Abort,Retry,Ignore 345 4; 3 Yes,No,Cancel 672 7;"
           "4 Yes,No 67 7; 5 Retry,Cancel 42 2; 6 OK 0 0; 15 OK 0 0")) {
    const auto number = static_cast<unsigned>(std::stoi(type));
    for (std::size_t button = 0; button < results.size(); ++button) {
      const auto [result, shown] = Show(u"m", number, static_cast<int>(button));
      EXPECT_EQ(shown.buttons, Split(labels, ','));
      EXPECT_EQ(shown.default_button, 0);
      EXPECT_EQ(shown.cancel_button, results.size() > 1 ? 1 : -1);
      EXPECT_EQ(result, results[button] - '0') << type;
    }
    EXPECT_EQ(Show(u"m", number, desktop::kAlertClosed).first, std::stoi(closed)) << type;
    EXPECT_EQ(Show(u"m", number, std::nullopt).first, 0);
  }
}

TEST(Messages, IconAndDefaultButtonComeFromTheType) {
  const std::tuple<unsigned, AlertLevel, int> cases[] = {
      {0x03, AlertLevel::kPlain, 0},  {0x13, AlertLevel::kStop, 0},
      {0x23, AlertLevel::kNote, 0},   {0x33, AlertLevel::kCaution, 0},
      {0x43, AlertLevel::kNote, 0},   {0x73, AlertLevel::kCaution, 0},
      {0x53, AlertLevel::kNote, 0},   {0x103, AlertLevel::kPlain, 1},
      {0x203, AlertLevel::kPlain, 2}, {0x124, AlertLevel::kNote, 1}};
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

using std::u16string_view;

TEST(CountedStrings, CarryTheirLengthBeforeTheText) {
  // The text, its units and bytes, and its bytes in memory with the terminator.
  const std::tuple<BSTR, int, int, std::string_view> cases[] = {
      {SysAllocStringLen(u"a\0b", 3), 3, 6, {"a\0\0\0b\0\0", 8}},
      {SysAllocStringLen(nullptr, 2), 2, 4, {"\0\0\0\0\0", 6}},
      {SysAllocStringByteLen("abc", 3), 1, 3, {"abc\0", 5}},
      {SysAllocString(u"xy"), 2, 4, {"x\0y\0\0", 6}},
      {W2BSTR(u"xy"), 2, 4, {"x\0y\0\0", 6}},
      {T2BSTR(u"xy"), 2, 4, {"x\0y\0\0", 6}},
      {OLE2BSTR(u"xy"), 2, 4, {"x\0y\0\0", 6}}};
  for (const auto& [text, units, bytes, memory] : cases) {
    const char* const start = reinterpret_cast<const char*>(text);
    EXPECT_EQ(std::memcmp(start - 4, &bytes, 4), 0);
    EXPECT_EQ(SysStringLen(text), units);
    EXPECT_EQ(SysStringByteLen(text), bytes);
    EXPECT_EQ(std::string_view(start, memory.size()), memory);
    SysFreeString(text);
  }
  for (auto* make : {SysAllocString, W2BSTR, T2BSTR, OLE2BSTR}) EXPECT_EQ(make(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr) + SysStringByteLen(nullptr), 0);
  SysFreeString(nullptr);
  EXPECT_EQ(SysAllocStringLen(u"", -1), nullptr);
  EXPECT_EQ(SysAllocStringByteLen("", INT_MIN), nullptr);
}

TEST(CountedStrings, AreReplaced) {
  BSTR text = SysAllocString(u"first");
  EXPECT_TRUE(SysReAllocString(&text, text + 2));  // a piece of the old string
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
  EXPECT_EQ(WideToPStr(pascal, u"\u0141b"), 2);  // only the low byte
  EXPECT_EQ(pascal[1], 0x41);
  EXPECT_EQ(WideToPStr(pascal, std::u16string(300, u'x').c_str()), 255);
  EXPECT_EQ(pascal[0], 255);
  EXPECT_EQ(pascal[256], '#');
  EXPECT_EQ(CToPStr(pascal, ""), 0);
}

// Under the sanitizers nothing is pinned.
std::string PinnedMemory() {
  const std::string status = ReadFile("/proc/self/status");
  return status.substr(status.find("VmLck:"), 24);
}

TEST(GlobalMemory, CountsLocksOfItsBlocks) {
  const std::string pinned = PinnedMemory();
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
  EXPECT_EQ(PinnedMemory(), pinned);
  EXPECT_EQ(GlobalFree(block), nullptr);
  EXPECT_EQ(GlobalFlags(block), GMEM_INVALID_HANDLE);
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
