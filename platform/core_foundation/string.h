// Strings of the platform: sequences of UTF-16 code units. A CFStringRef is an NSString.
//
// A string keeps its text as Latin-1 bytes if all units fit, otherwise as UTF-16; only the views
// below show the difference. An immutable string is one block of memory. A mutable string, and one
// over a caller's units, keeps its units elsewhere. Any thread may use immutable strings.
//
// A string has at most kMaximumStringLength units; a longer one is not made. These functions throw
// only when memory runs out.
//
// Create and Copy give the caller a reference. They return null when the object cannot be made: for
// a null or too long text, malformed bytes, and an unknown encoding. Lengths and ranges are in
// UTF-16 code units. A range that exceeds the string is cut.
#pragma once

#include <cstdarg>
#include <new>
#include <string>
#include <string_view>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

using NSComparisonResult = CFIndex;
inline constexpr NSComparisonResult NSOrderedAscending = -1;
inline constexpr NSComparisonResult NSOrderedSame = 0;
inline constexpr NSComparisonResult NSOrderedDescending = 1;

class NSString final : public NSObject {
 public:
  // Makers for this layer; the caller owns the result. Null when the text has more than
  // kMaximumStringLength units or, for the UTF-8 forms, is malformed (RFC 3629).
  static NSString* NewFromUnits(std::u16string_view units);
  static NSString* NewFromLatin1(std::string_view bytes);
  // `bytes` must all be below 0x80.
  static NSString* NewFromAscii(std::string_view bytes);
  static NSString* NewFromUtf8(std::string_view bytes);
  static NSString* NewFromText(const plist::Text& text);
  // From a string value. A long string shares the memory of the value.
  static NSString* NewFromValue(const plist::Value& value);
  static NSString* NewMutable(std::u16string_view units = {});
  // Over units that are not copied. The caller keeps them, or with `owned` the string frees them.
  static NSString* NewNoCopy(std::u16string_view units, bool owned);
  // A mutable string in a buffer of the caller with room for `capacity` units. It always uses this
  // buffer: a change that needs more room is cut.
  static NSString* NewInBuffer(char16_t* units, CFIndex length, CFIndex capacity);

  CFIndex length() const { return length_; }
  bool isMutable() const { return (flags_ & kMutable) != 0; }

  // The text in the form in which it is kept: bytes if isLatin1(), otherwise units. Valid until the
  // string changes or is destroyed.
  bool isLatin1() const { return (flags_ & kWide) == 0; }
  // Whether it is kept as bytes that are all below 0x80.
  bool isAscii() const { return (flags_ & (kWide | kAscii)) == kAscii; }
  std::string_view latin1() const {
    return {static_cast<const char*>(units_), static_cast<size_t>(length_)};
  }
  std::u16string_view wide() const {
    return {static_cast<const char16_t*>(units_), static_cast<size_t>(length_)};
  }

  // The text, valid until the string changes or is destroyed.
  plist::Text text() const {
    if (!isLatin1()) return wide();
    return isAscii() ? plist::Text::Ascii(latin1()) : plist::Text::Latin1(latin1());
  }
  // The value that shares its memory with the string, or a new value.
  plist::Value value() const override;

  // Copies units first .. first + count, which must lie within the string.
  void getCharacters(char16_t* buffer, CFIndex first, CFIndex count) const;
  std::u16string ToUnits() const { return text().ToUnits(); }
  // Unpaired surrogates become "?".
  std::string ToUtf8() const { return text().ToUtf8(); }

  // Compares the code units; null comes before every text.
  NSComparisonResult compare(const NSString* other) const;
  ObjCBool isEqualToString(const NSString* other) const;
  // The results are autoreleased.
  const NSString* stringByAppendingString(const NSString* other) const;
  static const NSString* stringWithCharacters(std::u16string_view units);
  static const NSString* stringWithUTF8String(const char* bytes);  // null when not well formed

  // Reads optional white space, an optional sign and decimal digits as a 32-bit integer. A larger
  // value becomes the nearest possible one; without digits the result is 0.
  int intValue() const;
  double doubleValue() const;

  // Changes have no effect on immutable strings. `count` is cut at the end of the string; a start
  // behind the end, and a text that would become too long, change nothing. `units` may be a part of
  // the string itself.
  void replaceCharacters(CFIndex first, CFIndex count, std::u16string_view units);
  void append(std::u16string_view units) { replaceCharacters(length_, 0, units); }

  static CFTypeID TypeID();
  CFTypeID typeID() const override { return TypeID(); }
  bool isEqual(const NSObject* other) const override;
  CFHashCode hash() const override;
  NSString* copy() const override;
  NSString* mutableCopy() const override;
  const NSString* description() const override;

  // The memory of a string may be larger than the object.
  static void operator delete(void* block);

 private:
  static constexpr UInt32 kWide = 1;   // units_ are char16_t
  static constexpr UInt32 kAscii = 2;  // bytes, all below 0x80
  static constexpr UInt32 kMutable = 4;
  static constexpr UInt32 kOutside = 8;    // units_ is not part of this block
  static constexpr UInt32 kBorrowed = 16;  // units_ must not be freed
  static constexpr UInt32 kShared = 32;    // units_ belongs to the value after the object

  NSString(UInt32 flags, CFIndex length, const void* units)
      : flags_(flags), length_(static_cast<SInt32>(length)), units_(units) {}
  ~NSString() override;
  static void* operator new(size_t size, size_t extra);
  static void operator delete(void* block, size_t extra);
  static NSString* NewInline(UInt32 flags, CFIndex length, size_t bytes);
  // The value that follows the object in memory.
  const plist::Value* shared() const {
    return std::launder(reinterpret_cast<const plist::Value*>(this + 1));
  }
  char* inline_bytes() { return reinterpret_cast<char*>(this + 1); }
  char16_t* mutable_units() { return static_cast<char16_t*>(const_cast<void*>(units_)); }
  bool Reserve(CFIndex length);

  UInt32 flags_;
  SInt32 length_;
  // The hash of an immutable string, 0 until it is computed; the capacity of a mutable string.
  mutable std::atomic<UInt32> hash_or_capacity_{0};
  const void* units_;
};

using CFStringRef = const NSString*;
using CFMutableStringRef = NSString*;
class NSDictionary;
class NSLocale;
using CFLocaleRef = const NSLocale*;

using CFStringEncoding = UInt32;
inline constexpr CFStringEncoding kCFStringEncodingMacRoman = 0;
inline constexpr CFStringEncoding kCFStringEncodingASCII = 0x0600;
inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;

// The constant string with this text, which lives as long as the program. The caller need not
// release it: CFSTR(u"Path").
CFStringRef CFSTR(std::u16string_view text);

CFTypeID CFStringGetTypeID();

// Copies `length` units. Any units are allowed, including unpaired surrogates and U+0000.
CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar* units,
                                         CFIndex length);
// The string frees the units at its end, unless `deallocator` is kCFAllocatorNull.
CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef allocator, const UniChar* units,
                                               CFIndex length, CFAllocatorRef deallocator);
// A string of the bytes up to the first NUL.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* bytes,
                                      CFStringEncoding encoding);
// Another reference to an immutable string, or an immutable copy of a mutable one.
CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string);
// `deallocator` must be kCFAllocatorNull. Changes are cut at the capacity.
CFMutableStringRef CFStringCreateMutableWithExternalCharactersNoCopy(CFAllocatorRef allocator,
                                                                     UniChar* units, CFIndex length,
                                                                     CFIndex capacity,
                                                                     CFAllocatorRef deallocator);

// "%@" takes an object, "%S" a zero-terminated char16_t array, "%s" zero-terminated Mac OS Roman;
// all else is as in printf. Null when the format cannot be carried out.
CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, const NSDictionary* options,
                                     CFStringRef format, ...);
CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef allocator,
                                                 const NSDictionary* options, CFStringRef format,
                                                 std::va_list arguments);

// The length in UTF-16 units; 0 for null.
CFIndex CFStringGetLength(CFStringRef string);
// Copies the units of the range into `buffer`, without a terminator.
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer);
// Converts as many whole characters of the range as fit into `buffer`; with a null buffer it
// measures all of them. Returns the number of units converted. Does not write a byte-order mark.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 loss_byte, Boolean is_external_representation, UInt8* buffer,
                         CFIndex maximum_length, CFIndex* used_length);
// NSString::intValue and doubleValue. `string` must not be null.
SInt32 CFStringGetIntValue(CFStringRef string);
double CFStringGetDoubleValue(CFStringRef string);

// Maps the whole mutable string (The Unicode Standard, 3.13) by the rules of the locale; null means
// the root locale.
void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale);
void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale);

}  // namespace orvik
