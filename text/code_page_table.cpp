#include "text/code_page_table.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <unordered_map>

#include "text/transcoding.h"
#include "text/unicode_library.h"

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

// The code pages that have a number of Windows and a converter of the library.
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

SingleByteTable::SingleByteTable(const std::array<char16_t, 256>& units) : units_(units) {
  bytes_of_low_.fill(-1);
  starts_with_ascii_ = true;
  // Of several bytes for a unit the lowest is written.
  for (int byte = 255; byte >= 0; --byte) {
    const char16_t unit = units_[static_cast<size_t>(byte)];
    if (byte < 0x80 && unit != byte) starts_with_ascii_ = false;
    if (unit < 0x100) {
      bytes_of_low_[unit] = static_cast<short>(byte);
    } else if (unit != kNoUnit) {
      bytes_of_high_.push_back({unit, static_cast<unsigned char>(byte)});
    }
  }
  std::ranges::sort(bytes_of_high_, [](const Entry& a, const Entry& b) {
    return a.unit != b.unit ? a.unit < b.unit : a.byte < b.byte;
  });
}

int SingleByteTable::ByteOf(char16_t unit) const {
  if (unit < 0x100) return bytes_of_low_[unit];
  const auto found = std::ranges::lower_bound(bytes_of_high_, unit, {}, &Entry::unit);
  return found != bytes_of_high_.end() && found->unit == unit ? found->byte : -1;
}

EncodedLength SingleByteTable::Encode(std::u16string_view text, char loss_byte, char* target,
                                      size_t room) const {
  EncodedLength done;
  if (starts_with_ascii_) {
    // A long ASCII start goes in one piece.
    done.units = done.bytes = std::min(AsciiPrefix(text), room);
    if (target != nullptr) NarrowLatin1(text.data(), target, done.bytes);
  }
  for (; done.units < text.size() && done.bytes < room; ++done.bytes) {
    const size_t length = CharacterLength(text.substr(done.units));
    const int byte = length == 1 ? ByteOf(text[done.units]) : -1;
    if (byte < 0 && loss_byte == 0) break;
    if (target != nullptr) target[done.bytes] = byte < 0 ? loss_byte : static_cast<char>(byte);
    done.units += length;
  }
  return done;
}

std::optional<std::u16string> SingleByteTable::Decode(std::string_view bytes) const {
  std::u16string text(bytes.size(), u'\0');
  const size_t ascii = starts_with_ascii_ ? AsciiPrefix(bytes) : 0;
  WidenLatin1(bytes.data(), text.data(), ascii);
  for (size_t i = ascii; i < bytes.size(); ++i) {
    text[i] = units_[static_cast<unsigned char>(bytes[i])];
    if (text[i] == kNoUnit) return std::nullopt;
  }
  return text;
}

namespace {

struct Converter {
  icu::Converter handle;
  std::unique_ptr<SingleByteTable> table;  // null for a code page of several bytes
};

bool DecodeAll(UConverter* converter, std::string_view bytes, std::u16string* text) {
  icu::ucnv_resetToUnicode(converter);
  const char* source = bytes.data();
  UErrorCode status;
  do {
    status = U_ZERO_ERROR;
    UChar buffer[1024];
    UChar* target = buffer;
    icu::ucnv_toUnicode(converter, &target, buffer + 1024, &source, bytes.data() + bytes.size(),
                        nullptr, true, &status);
    text->append(buffer, target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  return U_SUCCESS(status);
}

// Encodes all of the text; false when a character was refused.
bool EncodeAll(UConverter* converter, std::u16string_view text, std::string* result) {
  icu::ucnv_resetFromUnicode(converter);
  const UChar* source = text.data();
  const UChar* source_end = source + text.size();
  char buffer[1024];
  UErrorCode status;
  do {
    status = U_ZERO_ERROR;
    char* target = buffer;
    icu::ucnv_fromUnicode(converter, &target, buffer + sizeof buffer, &source, source_end, nullptr,
                          true, &status);
    result->append(buffer, target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  return U_SUCCESS(status);
}

std::unique_ptr<SingleByteTable> TableOf(UConverter* converter, const CodePageEntry& entry) {
  if (icu::ucnv_getMaxCharSize(converter) != 1) return nullptr;
  std::array<char16_t, 256> units;
  for (size_t i = 0; i < units.size(); ++i) {
    const char byte = static_cast<char>(i);
    std::u16string text;
    units[i] = DecodeAll(converter, {&byte, 1}, &text) && text.size() == 1 ? text[0] : kNoUnit;
  }
  for (const ByteCorrection& correction : entry.corrections) {
    units[correction.byte] = correction.unit;
  }
  return std::make_unique<SingleByteTable>(units);
}

// The table of a code page that needs no converter of the library; null for all others.
std::unique_ptr<SingleByteTable> OwnTableOf(CodePage page) {
  std::array<char16_t, 256> units;
  for (size_t i = 0; i < units.size(); ++i) {
    const auto byte = static_cast<unsigned char>(i);
    units[i] = page == kMacRomanCodePage                ? UnitOfMacRoman(byte)
               : page == kAsciiCodePage && byte >= 0x80 ? kNoUnit
                                                        : char16_t{byte};
  }
  const bool is_own =
      page == kMacRomanCodePage || page == kAsciiCodePage || page == kLatin1CodePage;
  return is_own ? std::make_unique<SingleByteTable>(units) : nullptr;
}

// Converters hold state, so each thread has its own; opening one is slow. Null when there is none.
const Converter* ConverterOf(const CodePageEntry& entry) {
  thread_local std::unordered_map<CodePage, Converter> open;
  const auto [place, is_new] = open.try_emplace(entry.page);
  Converter& converter = place->second;
  if (is_new) converter.table = OwnTableOf(entry.page);
  if (is_new && converter.table == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    converter.handle.reset(icu::ucnv_open(entry.converter, &status));
    if (U_FAILURE(status)) converter.handle.reset();
    if (converter.handle != nullptr) {
      icu::ucnv_setToUCallBack(converter.handle.get(), icu::UCNV_TO_U_CALLBACK_STOP.Get(), nullptr,
                               nullptr, nullptr, &status);
      converter.table = TableOf(converter.handle.get(), entry);
    }
  }
  return converter.handle != nullptr || converter.table != nullptr ? &converter : nullptr;
}

// Writes the loss byte for every character without a form, whatever its properties.
void WriteLossByte(const void* context, UConverterFromUnicodeArgs* arguments, const UChar*, int32_t,
                   UChar32, UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  const UChar unit = *static_cast<const unsigned char*>(context);
  const UChar* source = &unit;
  *status = U_ZERO_ERROR;
  icu::ucnv_cbFromUWriteUChars(arguments, &source, source + 1, 0, status);
}

}  // namespace

bool HasConverter(const CodePageEntry& entry) {
  return ConverterOf(entry) != nullptr;
}

std::optional<EncodedLength> EncodeWithConverter(const CodePageEntry& entry,
                                                 std::u16string_view text, char loss_byte,
                                                 char* target, size_t room) {
  const Converter* const found = ConverterOf(entry);
  if (found == nullptr) return std::nullopt;
  if (found->table != nullptr) return found->table->Encode(text, loss_byte, target, room);
  UConverter* const converter = found->handle.get();
  UErrorCode status = U_ZERO_ERROR;
  icu::ucnv_setFromUCallBack(converter,
                             loss_byte != 0 ? WriteLossByte : icu::UCNV_FROM_U_CALLBACK_STOP.Get(),
                             &loss_byte, nullptr, nullptr, &status);
  std::string bytes;
  bytes.reserve(text.size() + 16);
  EncodedLength done;
  if (EncodeAll(converter, text, &bytes) && bytes.size() <= room) {
    done.units = text.size();
  } else {
    // Character by character, as far as it goes.
    bytes.clear();
    while (!text.empty()) {
      const size_t length = CharacterLength(text);
      std::string character;
      if (!EncodeAll(converter, text.substr(0, length), &character) ||
          bytes.size() + character.size() > room) {
        break;
      }
      bytes += character;
      text.remove_prefix(length);
      done.units += length;
    }
  }
  done.bytes = bytes.size();
  if (target != nullptr) bytes.copy(target, bytes.size());
  return done;
}

std::optional<std::u16string> DecodeWithConverter(const CodePageEntry& entry,
                                                  std::string_view bytes) {
  const Converter* const found = ConverterOf(entry);
  if (found == nullptr) return std::nullopt;
  if (found->table != nullptr) return found->table->Decode(bytes);
  std::u16string text;
  text.reserve(bytes.size());
  if (!DecodeAll(found->handle.get(), bytes, &text)) return std::nullopt;
  return text;
}

}  // namespace orvik
