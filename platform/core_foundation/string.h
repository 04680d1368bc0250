// Strings by the Core Foundation names. CFStringRef is an NSString (foundation/ns_string.h).
//
// Create and Copy give the caller a reference, or null when the object cannot be made: a null or
// too long text, bytes that are not of the encoding, an unknown encoding. Lengths and ranges count
// UTF-16 code units. A range that leaves the string is cut to it.
#pragma once

#include <cstdarg>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/locale.h"
#include "platform/foundation/ns_string.h"

namespace [[gnu::visibility("default")]] orvik {

using CFStringRef = const NSString*;
using CFMutableStringRef = NSString*;
class NSDictionary;

using CFStringEncoding = UInt32;
inline constexpr CFStringEncoding kCFStringEncodingMacRoman = 0;
inline constexpr CFStringEncoding kCFStringEncodingASCII = 0x0600;
inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;

using CFStringCompareFlags = CFOptionFlags;
inline constexpr CFStringCompareFlags kCFCompareCaseInsensitive = 1;

// The one string of that text, which lives as long as the program: for constants. Nobody has to
// release it. CFSTR(u"Path")
CFStringRef CFSTR(std::u16string_view text);

CFTypeID CFStringGetTypeID();

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar* units,
                                         CFIndex length);
// The deallocator frees the units with the string, unless it is kCFAllocatorNull.
CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef allocator, const UniChar* units,
                                               CFIndex length, CFAllocatorRef deallocator);
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* bytes,
                                      CFStringEncoding encoding);
// A mark at the start of an external representation in UTF-8 is left out.
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                    CFStringEncoding encoding, Boolean is_external_representation);
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

CFIndex CFStringGetLength(CFStringRef string);
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer);
// False when a character has no form in the encoding or the terminated text does not fit; the
// buffer then holds an empty text.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex buffer_size,
                           CFStringEncoding encoding);
// Converts as many whole characters of the range as fit; with a null buffer they are measured. The
// result is the number of units converted. No mark is written.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 loss_byte, Boolean is_external_representation, UInt8* buffer,
                         CFIndex maximum_length, CFIndex* used_length);
SInt32 CFStringGetIntValue(CFStringRef string);
double CFStringGetDoubleValue(CFStringRef string);

// By code units, of the folded texts with kCFCompareCaseInsensitive (full folding).
CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFStringCompareFlags options);

// Whether the text is found in the range, and where. A match under kCFCompareCaseInsensitive (full
// folding) starts and ends between whole characters; its length may differ from the text's. An
// empty text is not found. The result may be null, and is left alone when nothing is found.
Boolean CFStringFindWithOptions(CFStringRef string, CFStringRef text, CFRange range,
                                CFStringCompareFlags options, CFRange* result);

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale);
void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale);

}  // namespace orvik
