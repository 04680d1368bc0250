// Property lists: trees of strings, numbers, booleans, dates, data, arrays and dictionaries with
// string keys, in their XML, binary and old text forms.
//
// Bytes that are no property list, and objects that cannot be written as one, give null: nothing
// is read or written in part. The error text of textual forms names line and column. Both
// directions go at most kPropertyListMaximumDepth containers deep and write at most
// kPropertyListMaximumFileSize bytes, so that what was written can always be read again. A binary
// list counts with its shared objects written out: a list that would be larger is not read.
//
// Reading takes any of the three forms:
//
//   XML     in UTF-8, UTF-16, UTF-32 or the encoding it declares; a "plist" root or the bare value.
//           Only the five entities of XML and character references are known; a file that uses
//           another is no property list, even if its document type declares it. Of two equal keys
//           the last one holds.
//   binary  "bplist0?", with every integer of up to 64 bits (16-byte integers when they fit).
//   text    the old form, { key = value; }, and files of strings without the outer braces. All its
//           leaves are strings or data.
//
// A dictionary read from XML makes its entries when they are first looked at, and keeps the data
// object that it was read from in memory until then. Several threads may look at one list.
//
// Integers beyond the signed 64-bit range keep their value up to 2^64 - 1. A unique identifier of a
// keyed archive is the dictionary { "CF$UID" = number }.
//
// XML cannot carry every UTF-16 unit that a string can hold. When written, such a unit (a control
// character other than tab, line feed and carriage return, a lone surrogate, U+FFFE, U+FFFF)
// becomes U+FDD0, a noncharacter, followed by the unit's four upper-case hexadecimal digits, and
// reading undoes it:
//
//   in memory               in the file
//   'a' U+0000 'b'          a U+FDD0 0000 b
//   U+FDD0 "0000"           U+FDD0 FDD0 0000     (only what would read as an escape is escaped)
//   U+FDD0 "zebra"          U+FDD0 zebra         (as other programs may have written it)
//
// A carriage return is written as "&#13;" and so outlives the line-end rule of XML.
//
// The element of a date has whole seconds. A date with a fraction, or without a year of at most
// eight digits, has its IEEE 754 bits beside them, in an attribute that other programs pass over:
//
//   0.25 s after the start of 2001   <date exact="3fd0000000000000">2001-01-01T00:00:00Z</date>
//
// The attribute counts only while the element's text is the one that is written for its bits.
#pragma once

#include <cstddef>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

using CFPropertyListRef = CFTypeRef;

using CFPropertyListMutabilityOptions = CFOptionFlags;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListImmutable = 0;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListMutableContainers = 1;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListMutableContainersAndLeaves = 2;

using CFPropertyListFormat = CFIndex;
inline constexpr CFPropertyListFormat kCFPropertyListOpenStepFormat = 1;
inline constexpr CFPropertyListFormat kCFPropertyListXMLFormat_v1_0 = 100;
inline constexpr CFPropertyListFormat kCFPropertyListBinaryFormat_v1_0 = 200;

// Containers inside one another, in reading and in writing.
inline constexpr int kPropertyListMaximumDepth = 512;

// Bytes of a property list, in reading and in writing.
inline constexpr std::size_t kPropertyListMaximumFileSize = std::size_t{512} << 20;

// The property list that the bytes hold, in whichever form, owned by the caller; null when they
// hold none. error_string, unless null, receives null on success and on failure a text that the
// caller owns.
CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xml_data,
                                                  CFOptionFlags mutability_option,
                                                  CFStringRef* error_string);

// The XML form (version 1.0, UTF-8, tabs, dictionaries in the order of their keys' UTF-16 units),
// owned by the caller; null when the object is no property list, or too large for one. Reals are
// written with as few digits as give the same double back.
CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef property_list);

// A copy of every container (and, with kCFPropertyListMutableContainersAndLeaves, of every string
// and data object) with the given mutability, owned by the caller; null when the object is no
// property list. Dictionary keys are always immutable.
CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator,
                                               CFPropertyListRef property_list,
                                               CFOptionFlags mutability_option);

// Whether the object can be written in the format. The old text form holds strings, data, arrays
// and dictionaries alone.
Boolean CFPropertyListIsValid(CFPropertyListRef property_list, CFPropertyListFormat format);

}  // namespace orvik
