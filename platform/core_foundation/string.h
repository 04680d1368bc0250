// Strings by the Core Foundation names. CFStringRef is an NSString (foundation/string.h).
//
// Create and Copy give the caller a reference, or null when the object cannot be made: a null or
// too long text, bytes that are not of the encoding, an unknown encoding. Lengths and ranges count
// UTF-16 code units. A range that leaves the string is cut to it.
#pragma once

#include <cstdarg>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/character_set.h"
#include "platform/core_foundation/encodings.h"
#include "platform/core_foundation/locale.h"
#include "platform/foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

using CFStringRef = const NSString*;
using CFMutableStringRef = NSString*;
class NSDictionary;

using CFStringCompareFlags = CFOptionFlags;
inline constexpr CFStringCompareFlags kCFCompareCaseInsensitive = 1;
inline constexpr CFStringCompareFlags kCFCompareBackwards = 4;
inline constexpr CFStringCompareFlags kCFCompareAnchored = 8;
inline constexpr CFStringCompareFlags kCFCompareNonliteral = 16;  // canonical equivalence

using CFStringNormalizationForm = CFIndex;
inline constexpr CFStringNormalizationForm kCFStringNormalizationFormD = 0;
inline constexpr CFStringNormalizationForm kCFStringNormalizationFormKD = 1;
inline constexpr CFStringNormalizationForm kCFStringNormalizationFormC = 2;
inline constexpr CFStringNormalizationForm kCFStringNormalizationFormKC = 3;

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
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                    CFStringEncoding encoding, Boolean is_external_representation);
CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string);
CFStringRef CFStringCreateWithSubstring(CFAllocatorRef allocator, CFStringRef string,
                                        CFRange range);
CFMutableStringRef CFStringCreateMutable(CFAllocatorRef allocator, CFIndex maximum_length);
CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef allocator, CFIndex maximum_length,
                                             CFStringRef string);
// Changes are cut at the capacity when the deallocator is kCFAllocatorNull, the only one taken.
CFMutableStringRef CFStringCreateMutableWithExternalCharactersNoCopy(CFAllocatorRef allocator,
                                                                     UniChar* units, CFIndex length,
                                                                     CFIndex capacity,
                                                                     CFAllocatorRef deallocator);

// "%@" an object, "%S" a zero-terminated char16_t array, "%s" zero-terminated Mac OS Roman, the
// rest as printf (string_format.h). Null when the format cannot be carried out.
CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, const NSDictionary* options,
                                     CFStringRef format, ...);
CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef allocator,
                                                 const NSDictionary* options, CFStringRef format,
                                                 std::va_list arguments);

CFIndex CFStringGetLength(CFStringRef string);
UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index);
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer);
// Null when the string does not keep its text in that form.
const UniChar* CFStringGetCharactersPtr(CFStringRef string);
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);
// False when a character has no form in the encoding or the terminated text does not fit; the
// buffer then holds an empty text.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex buffer_size,
                           CFStringEncoding encoding);
// Converts as many whole characters of the range as fit; with a null buffer they are measured. The
// result is the number of units converted.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 loss_byte, Boolean is_external_representation, UInt8* buffer,
                         CFIndex maximum_length, CFIndex* used_length);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
SInt32 CFStringGetIntValue(CFStringRef string);
double CFStringGetDoubleValue(CFStringRef string);

// By code units, of the folded or decomposed texts where the options say so.
CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFStringCompareFlags options);
// Compares the range of a with b.
CFComparisonResult CFStringCompareWithOptions(CFStringRef a, CFStringRef b, CFRange range,
                                              CFStringCompareFlags options);
Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix);
Boolean CFStringHasSuffix(CFStringRef string, CFStringRef suffix);

// A match under kCFCompareCaseInsensitive (full folding) or kCFCompareNonliteral starts and ends
// between whole characters; its length may differ from the text's. With kCFCompareAnchored it must
// stand at the start of the range, or at its end when searching backwards.
//
// Location kCFNotFound and length 0 when the text is not found; an empty text is not found.
CFRange CFStringFind(CFStringRef string, CFStringRef text, CFStringCompareFlags options);
Boolean CFStringFindWithOptions(CFStringRef string, CFStringRef text, CFRange range,
                                CFStringCompareFlags options, CFRange* result);
Boolean CFStringFindCharacterFromSet(CFStringRef string, CFCharacterSetRef set, CFRange range,
                                     CFStringCompareFlags options, CFRange* result);

void CFStringAppend(CFMutableStringRef string, CFStringRef other);
void CFStringAppendCharacters(CFMutableStringRef string, const UniChar* units, CFIndex length);
void CFStringAppendCString(CFMutableStringRef string, const char* bytes, CFStringEncoding encoding);
void CFStringAppendFormat(CFMutableStringRef string, const NSDictionary* options,
                          CFStringRef format, ...);
void CFStringDelete(CFMutableStringRef string, CFRange range);
void CFStringReplace(CFMutableStringRef string, CFRange range, CFStringRef replacement);
// The number of replacements.
CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef text, CFStringRef replacement,
                               CFRange range, CFStringCompareFlags options);
void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale);
void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale);
// Full Unicode case folding with kCFCompareCaseInsensitive; other options change nothing.
void CFStringFold(CFMutableStringRef string, CFStringCompareFlags options, CFLocaleRef locale);
void CFStringNormalize(CFMutableStringRef string, CFStringNormalizationForm form);

}  // namespace orvik
