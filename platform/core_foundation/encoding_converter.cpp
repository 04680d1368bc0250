#include "platform/core_foundation/encoding_converter.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <unordered_map>

#include "text/transcoding.h"

namespace orvik {

namespace {

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};

struct Converter {
  std::unique_ptr<UConverter, CloseConverter> handle;
  // The library's DOS tables exchange three control characters, which Windows does not.
  bool exchanges_controls = false;
};

// The byte 0x1A is read as U+001C, 0x1C as U+007F and 0x7F as U+001A.
char16_t WindowsControl(char16_t unit) {
  return unit == 0x1C ? u'\x1A' : unit == 0x7F ? u'\x1C' : unit == 0x1A ? u'\x7F' : unit;
}
char16_t DosControl(char16_t unit) {
  return unit == 0x1A ? u'\x1C' : unit == 0x1C ? u'\x7F' : unit == 0x7F ? u'\x1A' : unit;
}

bool ExchangesControls(UConverter* converter) {
  const char byte = 0x1A;
  const char* source = &byte;
  UErrorCode status = U_ZERO_ERROR;
  return ucnv_getNextUChar(converter, &source, source + 1, &status) == 0x1C;
}

// Code pages go by several prefixes; the first is the most exact.
Converter Open(UInt32 code_page) {
  if (code_page == 0 || code_page > 0xFFFF) return {};
  for (const char* pattern : {"windows-%u", "cp%03u", "ibm-%03u"}) {
    char name[32];
    std::snprintf(name, sizeof name, pattern, static_cast<unsigned>(code_page));
    UErrorCode status = U_ZERO_ERROR;
    Converter converter{{ucnv_open(name, &status), {}}, false};
    if (U_FAILURE(status)) continue;
    converter.exchanges_controls = ExchangesControls(converter.handle.get());
    return converter;
  }
  return {};
}

// Converters hold state, so each thread has its own; opening one is slow. Null when there is none.
const Converter* ConverterOf(UInt32 code_page) {
  thread_local std::unordered_map<UInt32, Converter> open;
  const auto found = open.find(code_page);
  if (found != open.end()) return &found->second;
  Converter converter = Open(code_page);
  // What is not known is not kept: anybody may ask for any number.
  if (converter.handle == nullptr) return nullptr;
  return &open.emplace(code_page, std::move(converter)).first->second;
}

// Writes the loss byte for every character without a form, whatever its properties.
void WriteLossByte(const void* context, UConverterFromUnicodeArgs* arguments, const UChar*, int32_t,
                   UChar32, UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  const UChar unit = *static_cast<const UInt8*>(context);
  const UChar* source = &unit;
  *status = U_ZERO_ERROR;
  ucnv_cbFromUWriteUChars(arguments, &source, source + 1, 0, status);
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

size_t CharacterLength(std::u16string_view text) {
  return text.size() > 1 && IsHighSurrogate(text[0]) && IsLowSurrogate(text[1]) ? 2 : 1;
}

}  // namespace

bool HasCodePageConverter(UInt32 code_page) {
  return ConverterOf(code_page) != nullptr;
}

bool HasConverter(CFStringEncoding encoding) {
  return HasCodePageConverter(CodePageOfEncoding(encoding));
}

std::optional<EncodedLength> EncodeWithConverter(CFStringEncoding encoding,
                                                 std::u16string_view text, UInt8 loss_byte,
                                                 char* target, CFIndex room) {
  const Converter* found = ConverterOf(CodePageOfEncoding(encoding));
  if (found == nullptr) return std::nullopt;
  UConverter* converter = found->handle.get();
  std::u16string exchanged;
  if (found->exchanges_controls) {
    exchanged = text;
    std::transform(text.begin(), text.end(), exchanged.begin(), DosControl);
    text = exchanged;
  }
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setFromUCallBack(converter, loss_byte != 0 ? WriteLossByte : UCNV_FROM_U_CALLBACK_STOP,
                        &loss_byte, nullptr, nullptr, &status);
  std::string bytes;
  bytes.reserve(text.size() + 16);
  const auto available = static_cast<size_t>(target == nullptr ? std::numeric_limits<CFIndex>::max()
                                                               : std::max<CFIndex>(room, 0));
  EncodedLength done;
  if (EncodeAll(converter, text, &bytes) && bytes.size() <= available) {
    done.units = static_cast<CFIndex>(text.size());
  } else {
    // Character by character, as far as it goes.
    bytes.clear();
    while (!text.empty()) {
      const size_t length = CharacterLength(text);
      std::string character;
      if (!EncodeAll(converter, text.substr(0, length), &character) ||
          bytes.size() + character.size() > available) {
        break;
      }
      bytes += character;
      text.remove_prefix(length);
      done.units += static_cast<CFIndex>(length);
    }
  }
  done.bytes = static_cast<CFIndex>(bytes.size());
  if (target != nullptr) bytes.copy(target, bytes.size());
  return done;
}

std::optional<std::u16string> DecodeWithConverter(CFStringEncoding encoding, std::string_view bytes,
                                                  bool lenient) {
  const Converter* found = ConverterOf(CodePageOfEncoding(encoding));
  if (found == nullptr) return std::nullopt;
  UConverter* converter = found->handle.get();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter, lenient ? UCNV_TO_U_CALLBACK_SUBSTITUTE : UCNV_TO_U_CALLBACK_STOP,
                      nullptr, nullptr, nullptr, &status);
  ucnv_resetToUnicode(converter);
  std::u16string text;
  text.reserve(bytes.size());
  const char* source = bytes.data();
  do {
    status = U_ZERO_ERROR;
    UChar buffer[1024];
    UChar* target = buffer;
    ucnv_toUnicode(converter, &target, buffer + 1024, &source, bytes.data() + bytes.size(), nullptr,
                   true, &status);
    text.append(buffer, target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  if (U_FAILURE(status)) return std::nullopt;
  if (found->exchanges_controls) {
    std::transform(text.begin(), text.end(), text.begin(), WindowsControl);
  }
  return text;
}

}  // namespace orvik
