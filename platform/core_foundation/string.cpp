#include "platform/core_foundation/string.h"

#include <cstring>
#include <map>
#include <mutex>

#include "platform/core_foundation/string_format.h"
#include "platform/core_foundation/string_views.h"

namespace orvik {

namespace {

std::string_view Bytes(const UInt8* bytes, CFIndex length) {
  return {reinterpret_cast<const char*>(bytes), static_cast<size_t>(length)};
}

NSString* NewFromBytes(std::string_view bytes, CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return NSString::NewFromUtf8(bytes);
    case kCFStringEncodingISOLatin1:
      return NSString::NewFromLatin1(bytes);
    default: {
      const std::optional<std::u16string> units = DecodeText(encoding, bytes);
      return units ? NSString::NewFromUnits(*units) : nullptr;
    }
  }
}

}  // namespace

CFStringRef CFSTR(std::u16string_view text) {
  static std::mutex guard;
  // Never destroyed: constants outlive everything.
  static auto* const constants = new std::map<std::u16string, CFStringRef, std::less<>>;
  const std::lock_guard lock(guard);
  const auto found = constants->find(text);
  if (found != constants->end()) return found->second;
  return constants->emplace(text, NSString::NewFromUnits(text)).first->second;
}

CFTypeID CFStringGetTypeID() {
  return NSString::TypeID();
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* units, CFIndex length) {
  if (length < 0 || (units == nullptr && length > 0)) return nullptr;
  return NSString::NewFromUnits({units, static_cast<size_t>(length)});
}

CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef, const UniChar* units, CFIndex length,
                                               CFAllocatorRef deallocator) {
  if (length < 0 || (units == nullptr && length > 0)) return nullptr;
  return NSString::NewNoCopy({units, static_cast<size_t>(length)}, deallocator != kCFAllocatorNull);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* bytes,
                                      CFStringEncoding encoding) {
  return bytes == nullptr ? nullptr : NewFromBytes(bytes, encoding);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex length,
                                    CFStringEncoding encoding, Boolean is_external_representation) {
  if (length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  std::string_view text = Bytes(bytes, length);
  if (is_external_representation != 0 && encoding == kCFStringEncodingUTF8 &&
      text.starts_with("\xEF\xBB\xBF")) {
    text.remove_prefix(3);
  }
  return NewFromBytes(text, encoding);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef string) {
  return string == nullptr ? nullptr : string->copy();
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef string, CFRange range) {
  if (string == nullptr) return nullptr;
  range = CutRange(range, string->length());
  const auto first = static_cast<size_t>(range.location);
  const auto count = static_cast<size_t>(range.length);
  return string->isLatin1() ? NSString::NewFromLatin1(string->latin1().substr(first, count))
                            : NSString::NewFromUnits(string->wide().substr(first, count));
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
  return NSString::NewMutable();
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef string) {
  return string == nullptr ? nullptr : string->mutableCopy();
}

CFMutableStringRef CFStringCreateMutableWithExternalCharactersNoCopy(CFAllocatorRef, UniChar* units,
                                                                     CFIndex length,
                                                                     CFIndex capacity,
                                                                     CFAllocatorRef deallocator) {
  return deallocator == kCFAllocatorNull ? NSString::NewInBuffer(units, length, capacity) : nullptr;
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, const NSDictionary* options,
                                     CFStringRef format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  CFStringRef result = CFStringCreateWithFormatAndArguments(allocator, options, format, arguments);
  va_end(arguments);
  return result;
}

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, const NSDictionary*,
                                                 CFStringRef format, std::va_list arguments) {
  if (format == nullptr) return nullptr;
  FormatBuffer result;
  return FormatUnits(result, WideView(format), arguments) ? NSString::NewFromUnits(result.units())
                                                          : nullptr;
}

CFIndex CFStringGetLength(CFStringRef string) {
  return string == nullptr ? 0 : string->length();
}

UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index) {
  return index >= 0 && index < string->length() ? string->characterAtIndex(index) : u'\0';
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer) {
  range = CutRange(range, string->length());
  string->getCharacters(buffer, range.location, range.length);
}

const UniChar* CFStringGetCharactersPtr(CFStringRef string) {
  return string->isLatin1() ? nullptr : string->wide().data();
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
  const bool is_shared =
      string->isLatin1() && (encoding == kCFStringEncodingISOLatin1 ||
                             (string->isAscii() && (encoding == kCFStringEncodingASCII ||
                                                    encoding == kCFStringEncodingUTF8 ||
                                                    encoding == kCFStringEncodingMacRoman)));
  // A text with a 0 inside would seem to end there.
  return is_shared && string->latin1().find('\0') == std::string_view::npos
             ? string->latin1().data()
             : nullptr;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex buffer_size,
                           CFStringEncoding encoding) {
  if (buffer == nullptr || buffer_size < 1) return false;
  const WideView units(string);
  const std::optional<EncodedLength> done =
      EncodeText(encoding, units, 0, false, buffer, buffer_size - 1);
  const bool is_whole = done && done->units == string->length();
  buffer[is_whole ? done->bytes : 0] = 0;
  return is_whole;
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 loss_byte, Boolean is_external_representation, UInt8* buffer,
                         CFIndex maximum_length, CFIndex* used_length) {
  range = CutRange(range, string->length());
  const WideView units(string);
  const std::optional<EncodedLength> done = EncodeText(
      encoding,
      units.view().substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length)),
      loss_byte, is_external_representation != 0, reinterpret_cast<char*>(buffer), maximum_length);
  if (used_length != nullptr) *used_length = done ? done->bytes : 0;
  return done ? done->units : 0;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  CFIndex per_unit = 8;
  switch (encoding) {
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingASCII:
      per_unit = 1;
      break;
    case kCFStringEncodingUTF8:
      per_unit = 3;
      break;
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
      per_unit = 2;
      break;
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
      per_unit = 4;
      break;
    default:
      break;
  }
  return length < 0 || length > kMaximumStringLength ? kCFNotFound : length * per_unit;
}

SInt32 CFStringGetIntValue(CFStringRef string) {
  return string->intValue();
}

double CFStringGetDoubleValue(CFStringRef string) {
  return string->doubleValue();
}

void CFStringAppend(CFMutableStringRef string, CFStringRef other) {
  string->append(other);
}

void CFStringAppendCharacters(CFMutableStringRef string, const UniChar* units, CFIndex length) {
  if (units != nullptr && length > 0) string->append({units, static_cast<size_t>(length)});
}

void CFStringAppendCString(CFMutableStringRef string, const char* bytes,
                           CFStringEncoding encoding) {
  if (bytes == nullptr) return;
  const std::optional<std::u16string> units = DecodeText(encoding, bytes);
  if (units) string->append(*units);
}

void CFStringAppendFormat(CFMutableStringRef string, const NSDictionary*, CFStringRef format, ...) {
  if (format == nullptr) return;
  FormatBuffer result;
  std::va_list arguments;
  va_start(arguments, format);
  if (FormatUnits(result, WideView(format), arguments)) string->append(result.units());
  va_end(arguments);
}

void CFStringDelete(CFMutableStringRef string, CFRange range) {
  range = CutRange(range, string->length());
  string->replaceCharacters(range.location, range.length, {});
}

void CFStringReplace(CFMutableStringRef string, CFRange range, CFStringRef replacement) {
  range = CutRange(range, string->length());
  string->replaceCharacters(range.location, range.length, WideView(replacement));
}

}  // namespace orvik
