// Strings of the platform: sequences of UTF-16 code units. A CFStringRef is an NSString.
//
// A string keeps its text as Latin-1 bytes when every unit fits one and as UTF-16 otherwise; which
// of the two never shows except in the views below. Immutable strings are one block of memory;
// mutable ones and those over a caller's units keep the units elsewhere. Immutable strings may be
// used from any thread.
//
// A string has at most kMaximumStringLength units; a longer one is not made. Nothing here throws,
// except for a failing allocator.
//
// Create and Copy give the caller a reference, or null when the object cannot be made: a null or
// too long text, bytes that are not of the encoding, an unknown encoding. Lengths and ranges count
// UTF-16 code units. A range that leaves the string is cut to it.
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
  // Makers for the layer's own use; the caller owns the result. Null when the text is too long
  // (more than kMaximumStringLength units) or, for the UTF-8 forms, not well formed (RFC 3629).
  static NSString* NewFromUnits(std::u16string_view units);
  static NSString* NewFromLatin1(std::string_view bytes);
  // For bytes that are known to be below 0x80.
  static NSString* NewFromAscii(std::string_view bytes);
  static NSString* NewFromUtf8(std::string_view bytes);
  static NSString* NewFromText(const plist::Text& text);
  // Of a string value, with which a long string shares its memory.
  static NSString* NewFromValue(const plist::Value& value);
  static NSString* NewMutable(std::u16string_view units = {});
  // Over units that the caller keeps, or that are freed with the string when `owned`.
  static NSString* NewNoCopy(std::u16string_view units, bool owned);
  // A mutable string in a buffer of the caller's with room for `capacity` units, which the content
  // never leaves: a change that needs more room is cut at it.
  static NSString* NewInBuffer(char16_t* units, CFIndex length, CFIndex capacity);

  CFIndex length() const { return length_; }
  bool isMutable() const { return (flags_ & kMutable) != 0; }

  // The text as it is kept: as bytes when isLatin1(), as units otherwise. Valid until the string
  // changes or dies.
  bool isLatin1() const { return (flags_ & kWide) == 0; }
  // Kept as bytes, all below 0x80.
  bool isAscii() const { return (flags_ & (kWide | kAscii)) == kAscii; }
  std::string_view latin1() const {
    return {static_cast<const char*>(units_), static_cast<size_t>(length_)};
  }
  std::u16string_view wide() const {
    return {static_cast<const char16_t*>(units_), static_cast<size_t>(length_)};
  }

  // The text, as long as the string neither changes nor dies.
  plist::Text text() const {
    if (!isLatin1()) return wide();
    return isAscii() ? plist::Text::Ascii(latin1()) : plist::Text::Latin1(latin1());
  }
  // The value that the memory is shared with, else a new one.
  plist::Value value() const override;

  // Copies units first .. first + count, which must lie within the string.
  void getCharacters(char16_t* buffer, CFIndex first, CFIndex count) const;
  std::u16string ToUnits() const { return text().ToUnits(); }
  // Unpaired surrogates become "?".
  std::string ToUtf8() const { return text().ToUtf8(); }

  // By code units; a null argument is below every text.
  NSComparisonResult compare(const NSString* other) const;
  ObjCBool isEqualToString(const NSString* other) const;
  // The results are autoreleased.
  const NSString* stringByAppendingString(const NSString* other) const;
  static const NSString* stringWithCharacters(std::u16string_view units);
  static const NSString* stringWithUTF8String(const char* bytes);  // null when not well formed

  // Optional white space, an optional sign and decimal digits, as 32 bits; a value beyond them is
  // the nearest that fits, and 0 without digits.
  int intValue() const;
  double doubleValue() const;

  // Changes, for mutable strings alone; on others they do nothing. `count` is cut at the end; a
  // start behind the end, and a text that would be too long, change nothing. `units` may be a part
  // of the string itself.
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
  static constexpr UInt32 kBorrowed = 16;  // units_ is not ours to free
  static constexpr UInt32 kShared = 32;    // units_ belongs to the value behind the object

  NSString(UInt32 flags, CFIndex length, const void* units)
      : flags_(flags), length_(static_cast<SInt32>(length)), units_(units) {}
  ~NSString() override;
  static void* operator new(size_t size, size_t extra);
  static void operator delete(void* block, size_t extra);
  static NSString* NewInline(UInt32 flags, CFIndex length, size_t bytes);
  // The value behind the object.
  const plist::Value* shared() const {
    return std::launder(reinterpret_cast<const plist::Value*>(this + 1));
  }
  char* inline_bytes() { return reinterpret_cast<char*>(this + 1); }
  char16_t* mutable_units() { return static_cast<char16_t*>(const_cast<void*>(units_)); }
  bool Reserve(CFIndex length);

  UInt32 flags_;
  SInt32 length_;
  // The hash of an immutable string, 0 until asked for; the capacity of a mutable one.
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

// The one string of that text, which lives as long as the program: for constants. The caller need
// not release it. CFSTR(u"Path")
CFStringRef CFSTR(std::u16string_view text);

CFTypeID CFStringGetTypeID();

// A string of `length` units, which are copied: any units, unpaired surrogates and U+0000 included.
CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar* units,
                                         CFIndex length);
// The deallocator frees the units with the string, unless it is kCFAllocatorNull.
CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef allocator, const UniChar* units,
                                               CFIndex length, CFAllocatorRef deallocator);
// A string of the bytes up to the first NUL.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* bytes,
                                      CFStringEncoding encoding);
// The string itself with another reference, or an immutable copy of one that can change.
CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string);
// Changes are cut at the capacity when the deallocator is kCFAllocatorNull, the only one taken.
CFMutableStringRef CFStringCreateMutableWithExternalCharactersNoCopy(CFAllocatorRef allocator,
                                                                     UniChar* units, CFIndex length,
                                                                     CFIndex capacity,
                                                                     CFAllocatorRef deallocator);

// "%@" an object, "%S" a zero-terminated char16_t array, "%s" zero-terminated Mac OS Roman, the
// rest as printf. Null when the format cannot be carried out.
CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, const NSDictionary* options,
                                     CFStringRef format, ...);
CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef allocator,
                                                 const NSDictionary* options, CFStringRef format,
                                                 std::va_list arguments);

// In UTF-16 units; 0 for null.
CFIndex CFStringGetLength(CFStringRef string);
// Copies the units of the range into `buffer`, without a terminator.
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer);
// Converts as many whole characters of the range as fit; with a null buffer they are measured. The
// result is the number of units converted. No mark is written.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 loss_byte, Boolean is_external_representation, UInt8* buffer,
                         CFIndex maximum_length, CFIndex* used_length);
// NSString::intValue and doubleValue. `string` must not be null.
SInt32 CFStringGetIntValue(CFStringRef string);
double CFStringGetDoubleValue(CFStringRef string);

// Maps all of a mutable string (The Unicode Standard, 3.13) by the rules of the locale; null is the
// root.
void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale);
void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale);

}  // namespace orvik
