#include "text/code_page_table.h"

#include <algorithm>
#include <array>
#include <memory>
#include <unordered_map>
#include <vector>

#include "text/of_thread.h"
#include "text/transcoding.h"
#include "text/unicode_library.h"

namespace orvik {

namespace {

// The pages that the library calls "ibm-" and the number. From numbers above 20000 it subtracts
// 20000.
constexpr CodePage kIbmPages[] = {
    37,    437,   500,   720,   737,   775,   850,   852,   855,   857,   858,   860,
    861,   862,   863,   864,   865,   866,   869,   870,   875,   1026,  1047,  1140,
    1141,  1142,  1143,  1144,  1145,  1146,  1147,  1148,  1149,  20273, 20277, 20278,
    20280, 20284, 20285, 20290, 20297, 20420, 20424, 20838, 20871, 21025};
// The pages that it calls "windows-" and the number.
constexpr CodePage kWindowsPages[] = {
    874,   932,   936,   949,   950,   1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257,
    1258,  10006, 10007, 10029, 10081, 28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599,
    28603, 28605, 57002, 57003, 57004, 57005, 57006, 57007, 57008, 57009, 57010, 57011};
constexpr std::pair<CodePage, const char*> kOtherPages[] = {{20866, "KOI8-R"},
                                                            {20932, "EUC-JP"},
                                                            {20936, "EUC-CN"},
                                                            {20949, "EUC-KR"},
                                                            {21866, "KOI8-U"},
                                                            {38598, "windows-28598"},
                                                            {50220, "ISO_2022,locale=ja,version=0"},
                                                            {50221, "ISO_2022,locale=ja,version=1"},
                                                            {50222, "ISO_2022,locale=ja,version=1"},
                                                            {50225, "ISO_2022,locale=ko,version=0"},
                                                            {50227, "ISO_2022,locale=zh,version=0"},
                                                            {51932, "EUC-JP"},
                                                            {51936, "EUC-CN"},
                                                            {51949, "EUC-KR"},
                                                            {52936, "HZ"},
                                                            {54936, "gb18030"},
                                                            {65000, "UTF-7"}};

// Empty for an unknown page.
std::string ConverterName(CodePage page) {
  if (std::ranges::binary_search(kWindowsPages, page)) return "windows-" + std::to_string(page);
  if (std::ranges::binary_search(kIbmPages, page)) {
    return "ibm-" + std::to_string(page > 20000 ? page - 20000 : page);
  }
  for (const auto& [other, name] : kOtherPages) {
    if (other == page) return name;
  }
  return {};
}

constexpr char16_t kNoUnit = 0xFFFF;  // of an undefined byte

// Bytes for which the library's tables differ from the mapping tables that the Unicode Consortium
// publishes for Windows: U+00B5 MICRO SIGN, where the library has the Greek letter, and unused
// bytes, six of which page 875 reads as SUBSTITUTE.
constexpr struct {
  CodePage page;
  unsigned char byte;
  char16_t unit;
} kCorrections[] = {
    {437, 0xE6, 0xB5},   {720, 0x80, 0x80},   {720, 0x81, 0x81},  {720, 0x84, 0x84},
    {720, 0x86, 0x86},   {720, 0x8D, 0x8D},   {720, 0x8E, 0x8E},  {720, 0x8F, 0x8F},
    {720, 0x90, 0x90},   {852, 0xAA, 0xAC},   {860, 0xE6, 0xB5},  {861, 0xE6, 0xB5},
    {862, 0xE6, 0xB5},   {863, 0xE6, 0xB5},   {864, 0x25, 0x66A}, {864, 0x9F, kNoUnit},
    {864, 0xD7, 0xFEC1}, {864, 0xD8, 0xFEC5}, {864, 0xF1, 0x651}, {865, 0xE6, 0xB5},
    {869, 0x88, 0xB7},   {869, 0xEF, 0x384},  {875, 0xDC, 0x1A},  {875, 0xE1, 0x1A},
    {875, 0xEC, 0x1A},   {875, 0xED, 0x1A},   {875, 0xFC, 0x1A},  {875, 0xFD, 0x1A},
    {1026, 0x9A, 0xAA}};

// A code page of single bytes, as a table.
class SingleByteTable {
 public:
  // `units` has the unit of each byte, kNoUnit for an undefined byte.
  explicit SingleByteTable(const std::array<char16_t, 256>& units);

  // -1 for a unit that the page lacks.
  int ByteOf(char16_t unit) const;
  // As EncodeText and DecodeText; Decode returns nothing for an undefined byte.
  EncodedLength Encode(std::u16string_view text, char loss_byte, char* target, size_t room) const;
  std::optional<std::u16string> Decode(std::string_view bytes) const;

 private:
  struct Entry {
    char16_t unit;
    unsigned char byte;
  };

  std::array<char16_t, 256> units_;
  std::array<short, 256> bytes_of_low_;  // of the units below U+0100
  std::vector<Entry> bytes_of_high_;     // of the other units, sorted by unit
  bool starts_with_ascii_ = true;
};

SingleByteTable::SingleByteTable(const std::array<char16_t, 256>& units) : units_(units) {
  bytes_of_low_.fill(-1);
  // When several bytes stand for one unit, the lowest byte is written.
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
    // Encodes the ASCII start of the text at once.
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

// The page as a table; null for a page of several bytes. The three pages of the platform need no
// converter of the library.
std::unique_ptr<SingleByteTable> TableOf(CodePage page, UConverter* converter) {
  const bool is_own = converter == nullptr;
  if (!is_own && icu::ucnv_getMaxCharSize(converter) != 1) return nullptr;
  std::array<char16_t, 256> units;
  for (size_t i = 0; i < units.size(); ++i) {
    const char byte = static_cast<char>(i);
    std::u16string text;
    if (is_own) {
      units[i] = page == kMacRomanCodePage ? UnitOfMacRoman(static_cast<unsigned char>(i))
                 : page == kAsciiCodePage && i >= 0x80 ? kNoUnit
                                                       : static_cast<char16_t>(i);
    } else {
      units[i] = DecodeAll(converter, {&byte, 1}, &text) && text.size() == 1 ? text[0] : kNoUnit;
    }
  }
  // The library's tables of DOS pages permute three control characters.
  if (page >= 437 && page <= 869 && page != 500) {
    for (const char16_t control : {0x1A, 0x1C, 0x7F}) units[control] = control;
  }
  for (const auto& correction : kCorrections) {
    if (correction.page == page) units[correction.byte] = correction.unit;
  }
  return std::make_unique<SingleByteTable>(units);
}

// Converters hold state, so each thread opens its own, once, because opening is slow. Null for an
// unknown page.
const Converter* ConverterOf(CodePage page) {
  auto& open = OfThread<std::unordered_map<CodePage, Converter>>();
  if (const auto known = open.find(page); known != open.end()) return &known->second;
  Converter converter;
  if (page != kMacRomanCodePage && page != kAsciiCodePage && page != kLatin1CodePage) {
    const std::string name = ConverterName(page);
    if (name.empty()) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    converter.handle.reset(icu::ucnv_open(name.c_str(), &status));
    if (U_FAILURE(status) || converter.handle == nullptr) return nullptr;
    icu::ucnv_setToUCallBack(converter.handle.get(), icu::UCNV_TO_U_CALLBACK_STOP.Get(), nullptr,
                             nullptr, nullptr, &status);
  }
  converter.table = TableOf(page, converter.handle.get());
  return &open.emplace(page, std::move(converter)).first->second;
}

// Writes the loss byte for every character that the page lacks, whatever the character's
// properties.
void WriteLossByte(const void* context, UConverterFromUnicodeArgs* arguments, const UChar*, int32_t,
                   UChar32, UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  const UChar unit = *static_cast<const unsigned char*>(context);
  const UChar* source = &unit;
  *status = U_ZERO_ERROR;
  icu::ucnv_cbFromUWriteUChars(arguments, &source, source + 1, 0, status);
}

}  // namespace

bool IsInTable(CodePage page) {
  return ConverterOf(page) != nullptr;
}

std::optional<EncodedLength> EncodeByTable(CodePage page, std::u16string_view text, char loss_byte,
                                           char* target, size_t room) {
  const Converter* const found = ConverterOf(page);
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
    // Encodes character by character, up to the first one that fails or does not fit.
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

std::optional<std::u16string> DecodeByTable(CodePage page, std::string_view bytes) {
  const Converter* const found = ConverterOf(page);
  if (found == nullptr) return std::nullopt;
  if (found->table != nullptr) return found->table->Decode(bytes);
  std::u16string text;
  text.reserve(bytes.size());
  if (!DecodeAll(found->handle.get(), bytes, &text)) return std::nullopt;
  return text;
}

}  // namespace orvik
