#include "text/code_page_converter.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <unordered_map>

#include "text/single_byte_table.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};

struct Converter {
  std::unique_ptr<UConverter, CloseConverter> handle;
  std::unique_ptr<SingleByteTable> table;  // null for a code page of several bytes
};

bool DecodeAll(UConverter* converter, std::string_view bytes, std::u16string* text) {
  ucnv_resetToUnicode(converter);
  const char* source = bytes.data();
  UErrorCode status;
  do {
    status = U_ZERO_ERROR;
    UChar buffer[1024];
    UChar* target = buffer;
    ucnv_toUnicode(converter, &target, buffer + 1024, &source, bytes.data() + bytes.size(), nullptr,
                   true, &status);
    text->append(buffer, target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  return U_SUCCESS(status);
}

// Encodes all of the text; false when a character was refused.
bool EncodeAll(UConverter* converter, std::u16string_view text, std::string* result) {
  ucnv_resetFromUnicode(converter);
  const UChar* source = text.data();
  const UChar* source_end = source + text.size();
  char buffer[1024];
  UErrorCode status;
  do {
    status = U_ZERO_ERROR;
    char* target = buffer;
    ucnv_fromUnicode(converter, &target, buffer + sizeof buffer, &source, source_end, nullptr, true,
                     &status);
    result->append(buffer, target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  return U_SUCCESS(status);
}

std::unique_ptr<SingleByteTable> TableOf(UConverter* converter, const CodePageEntry& entry) {
  if (ucnv_getMaxCharSize(converter) != 1) return nullptr;
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

// Converters hold state, so each thread has its own; opening one is slow. Null when there is none.
const Converter* ConverterOf(const CodePageEntry& entry) {
  thread_local std::unordered_map<CodePage, Converter> open;
  const auto [place, is_new] = open.try_emplace(entry.page);
  Converter& converter = place->second;
  if (is_new) {
    UErrorCode status = U_ZERO_ERROR;
    converter.handle.reset(ucnv_open(entry.converter, &status));
    if (U_FAILURE(status)) converter.handle.reset();
    if (converter.handle != nullptr) {
      ucnv_setToUCallBack(converter.handle.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr,
                          nullptr, &status);
      converter.table = TableOf(converter.handle.get(), entry);
    }
  }
  return converter.handle != nullptr ? &converter : nullptr;
}

// Writes the loss byte for every character without a form, whatever its properties.
void WriteLossByte(const void* context, UConverterFromUnicodeArgs* arguments, const UChar*, int32_t,
                   UChar32, UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  const UChar unit = *static_cast<const unsigned char*>(context);
  const UChar* source = &unit;
  *status = U_ZERO_ERROR;
  ucnv_cbFromUWriteUChars(arguments, &source, source + 1, 0, status);
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
  ucnv_setFromUCallBack(converter, loss_byte != 0 ? WriteLossByte : UCNV_FROM_U_CALLBACK_STOP,
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
