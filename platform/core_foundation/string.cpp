#include "platform/core_foundation/string.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

#include "host/file_names.h"
#include "host/system.h"
#include "platform/core_foundation/base.h"
#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/object_support.h"
#include "text/case_and_spelling.h"
#include "text/code_page_codec.h"
#include "text/formatter.h"

namespace orvik {

namespace {

// Nothing for an unknown encoding.
std::optional<CodePage> CodePageOf(CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingMacRoman:
      return kMacRomanCodePage;
    case kCFStringEncodingASCII:
      return kAsciiCodePage;
    case kCFStringEncodingUTF8:
      return kUtf8CodePage;
    default:
      return std::nullopt;
  }
}

NSString* NewFromBytes(std::string_view bytes, CFStringEncoding encoding) {
  const std::optional<CodePage> page = CodePageOf(encoding);
  if (page == kUtf8CodePage) return NSString::NewFromUtf8(bytes);
  const std::optional<std::u16string> units = page ? DecodeText(*page, bytes) : std::nullopt;
  return units ? NSString::NewFromUnits(*units) : nullptr;
}

// Encodes nothing for an unknown encoding.
EncodedLength Encode(std::u16string_view units, CFStringEncoding encoding, char loss_byte,
                     char* target, CFIndex room) {
  const std::optional<CodePage> page = CodePageOf(encoding);
  if (!page) return {};
  return EncodeText(*page, units, loss_byte, target,
                    static_cast<size_t>(std::max(room, CFIndex{0})))
      .value_or(EncodedLength{});
}

const char* IdentifierOf(CFLocaleRef locale) {
  return locale == nullptr ? "" : locale->identifier().c_str();
}

// The part of the range that lies within `length` units.
CFRange CutRange(CFRange range, CFIndex length) {
  const CFIndex first = std::clamp<CFIndex>(range.location, 0, length);
  return CFRangeMake(first, std::clamp<CFIndex>(range.length, 0, length - first));
}

std::u16string DescribeObject(const void* object) {
  const NSAutoreleasePool pool;
  const NSString* const description = ObjectOf(object)->description();
  return description == nullptr ? u"(null)" : description->ToUnits();
}

}  // namespace

// The map is keyed by the text, because a literal may have several addresses.
CFStringRef CFSTR(std::u16string_view text) {
  static std::mutex guard;
  // Never destroyed: constants are used until the process ends.
  static auto* const constants = new std::map<std::u16string, CFStringRef, std::less<>>;
  const std::lock_guard lock(guard);
  const auto found = constants->find(text);
  if (found != constants->end()) return found->second;
  Owned<const NSString> constant(NSString::NewFromUnits(text));
  constants->emplace(text, constant.get());
  return constant.release();
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

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef string) {
  return string == nullptr ? nullptr : string->copy();
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
  return FormatUnits(result, WideView(format), arguments, DescribeObject)
             ? NSString::NewFromUnits(result.units())
             : nullptr;
}

CFIndex CFStringGetLength(CFStringRef string) {
  return string == nullptr ? 0 : string->length();
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer) {
  range = CutRange(range, string->length());
  string->getCharacters(buffer, range.location, range.length);
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 loss_byte, Boolean, UInt8* buffer, CFIndex maximum_length,
                         CFIndex* used_length) {
  range = CutRange(range, string->length());
  const WideView units(string);
  const EncodedLength done = Encode(
      units.view().substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length)),
      encoding, static_cast<char>(loss_byte), reinterpret_cast<char*>(buffer), maximum_length);
  if (used_length != nullptr) *used_length = static_cast<CFIndex>(done.bytes);
  return static_cast<CFIndex>(done.units);
}

SInt32 CFStringGetIntValue(CFStringRef string) {
  return string->intValue();
}

double CFStringGetDoubleValue(CFStringRef string) {
  return string->doubleValue();
}

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale) {
  string->replaceCharacters(0, string->length(), ToLower(string->wide(), IdentifierOf(locale)));
}

void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale) {
  string->replaceCharacters(0, string->length(), ToUpper(string->wide(), IdentifierOf(locale)));
}

std::optional<std::string> FilePath(const NSString* path) {
  if (path == nullptr || path->length() == 0) return std::nullopt;
  std::optional<std::string> bytes = host::FileNameToBytes(path->ToUnits());
  if (bytes) *bytes = host::ResolvePath(*bytes);
  return bytes;
}

NSString* NewStringFromPath(std::string_view path) {
  return NSString::NewFromUnits(host::FileNameFromBytes(path));
}

}  // namespace orvik
