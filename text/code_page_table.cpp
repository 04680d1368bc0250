#include "text/code_page_table.h"

#include <algorithm>

namespace orvik {

namespace {

// The library's tables of DOS pages exchange three control characters. The corrections are those
// of the mapping tables that the Unicode Consortium publishes for Windows.
constexpr ByteCorrection kDos[] = {{0x1A, 0x1A}, {0x1C, 0x1C}, {0x7F, 0x7F}};
// U+00B5 MICRO SIGN, where the library has the Greek letter.
constexpr ByteCorrection kMicroSign[] = {{0x1A, 0x1A}, {0x1C, 0x1C}, {0x7F, 0x7F}, {0xE6, 0xB5}};
constexpr ByteCorrection kDos720[] = {{0x1A, 0x1A}, {0x1C, 0x1C}, {0x7F, 0x7F}, {0x80, 0x80},
                                      {0x81, 0x81}, {0x84, 0x84}, {0x86, 0x86}, {0x8D, 0x8D},
                                      {0x8E, 0x8E}, {0x8F, 0x8F}, {0x90, 0x90}};
constexpr ByteCorrection kDos852[] = {{0x1A, 0x1A}, {0x1C, 0x1C}, {0x7F, 0x7F}, {0xAA, 0xAC}};
constexpr ByteCorrection kDos864[] = {{0x1A, 0x1A},   {0x1C, 0x1C},    {0x25, 0x66A},
                                      {0x7F, 0x7F},   {0x9F, kNoUnit}, {0xD7, 0xFEC1},
                                      {0xD8, 0xFEC5}, {0xF1, 0x651}};
constexpr ByteCorrection kDos869[] = {
    {0x1A, 0x1A}, {0x1C, 0x1C}, {0x7F, 0x7F}, {0x88, 0xB7}, {0xEF, 0x384}};
// Six unused bytes are read as SUBSTITUTE.
constexpr ByteCorrection kEbcdic875[] = {{0xDC, 0x1A}, {0xE1, 0x1A}, {0xEC, 0x1A},
                                         {0xED, 0x1A}, {0xFC, 0x1A}, {0xFD, 0x1A}};
constexpr ByteCorrection kEbcdic1026[] = {{0x9A, 0xAA}};

// What Windows numbers and the library can carry out.
constexpr CodePageEntry kEntries[] = {
    {37, "ibm-37", {}},
    {437, "ibm-437", kMicroSign},
    {500, "ibm-500", {}},
    {720, "ibm-720", kDos720},
    {737, "ibm-737", kDos},
    {775, "ibm-775", kDos},
    {850, "ibm-850", kDos},
    {852, "ibm-852", kDos852},
    {855, "ibm-855", kDos},
    {857, "ibm-857", kDos},
    {858, "ibm-858", kDos},
    {860, "ibm-860", kMicroSign},
    {861, "ibm-861", kMicroSign},
    {862, "ibm-862", kMicroSign},
    {863, "ibm-863", kMicroSign},
    {864, "ibm-864", kDos864},
    {865, "ibm-865", kMicroSign},
    {866, "ibm-866", kDos},
    {869, "ibm-869", kDos869},
    {870, "ibm-870", {}},
    {874, "windows-874", {}},
    {875, "ibm-875", kEbcdic875},
    {932, "windows-932", {}},
    {936, "windows-936", {}},
    {949, "windows-949", {}},
    {950, "windows-950", {}},
    {1026, "ibm-1026", kEbcdic1026},
    {1047, "ibm-1047", {}},
    {1140, "ibm-1140", {}},
    {1141, "ibm-1141", {}},
    {1142, "ibm-1142", {}},
    {1143, "ibm-1143", {}},
    {1144, "ibm-1144", {}},
    {1145, "ibm-1145", {}},
    {1146, "ibm-1146", {}},
    {1147, "ibm-1147", {}},
    {1148, "ibm-1148", {}},
    {1149, "ibm-1149", {}},
    {1250, "windows-1250", {}},
    {1251, "windows-1251", {}},
    {1252, "windows-1252", {}},
    {1253, "windows-1253", {}},
    {1254, "windows-1254", {}},
    {1255, "windows-1255", {}},
    {1256, "windows-1256", {}},
    {1257, "windows-1257", {}},
    {1258, "windows-1258", {}},
    {10000, "windows-10000", {}},
    {10006, "windows-10006", {}},
    {10007, "windows-10007", {}},
    {10029, "windows-10029", {}},
    {10081, "windows-10081", {}},
    {20127, "US-ASCII", {}},
    {20273, "ibm-273", {}},
    {20277, "ibm-277", {}},
    {20278, "ibm-278", {}},
    {20280, "ibm-280", {}},
    {20284, "ibm-284", {}},
    {20285, "ibm-285", {}},
    {20290, "ibm-290", {}},
    {20297, "ibm-297", {}},
    {20420, "ibm-420", {}},
    {20424, "ibm-424", {}},
    {20838, "ibm-838", {}},
    {20866, "KOI8-R", {}},
    {20871, "ibm-871", {}},
    {20932, "EUC-JP", {}},
    {20936, "EUC-CN", {}},
    {20949, "EUC-KR", {}},
    {21025, "ibm-1025", {}},
    {21866, "KOI8-U", {}},
    {28591, "ISO-8859-1", {}},
    {28592, "windows-28592", {}},
    {28593, "windows-28593", {}},
    {28594, "windows-28594", {}},
    {28595, "windows-28595", {}},
    {28596, "windows-28596", {}},
    {28597, "windows-28597", {}},
    {28598, "windows-28598", {}},
    {28599, "windows-28599", {}},
    {28603, "windows-28603", {}},
    {28605, "windows-28605", {}},
    {38598, "windows-28598", {}},
    {50220, "ISO_2022,locale=ja,version=0", {}},
    {50221, "ISO_2022,locale=ja,version=1", {}},
    {50222, "ISO_2022,locale=ja,version=1", {}},
    {50225, "ISO_2022,locale=ko,version=0", {}},
    {50227, "ISO_2022,locale=zh,version=0", {}},
    {51932, "EUC-JP", {}},
    {51936, "EUC-CN", {}},
    {51949, "EUC-KR", {}},
    {52936, "HZ", {}},
    {54936, "gb18030", {}},
    {57002, "windows-57002", {}},
    {57003, "windows-57003", {}},
    {57004, "windows-57004", {}},
    {57005, "windows-57005", {}},
    {57006, "windows-57006", {}},
    {57007, "windows-57007", {}},
    {57008, "windows-57008", {}},
    {57009, "windows-57009", {}},
    {57010, "windows-57010", {}},
    {57011, "windows-57011", {}},
    {65000, "UTF-7", {}},
};

static_assert(std::ranges::is_sorted(kEntries, {}, &CodePageEntry::page));

}  // namespace

const CodePageEntry* FindCodePage(CodePage page) {
  const auto* const found = std::ranges::lower_bound(kEntries, page, {}, &CodePageEntry::page);
  return found != std::end(kEntries) && found->page == page ? found : nullptr;
}

std::span<const CodePageEntry> AllCodePages() {
  return kEntries;
}

}  // namespace orvik
