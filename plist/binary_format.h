// The layout of a binary property list. All numbers are big-endian.
//
//   offset            bytes   content
//   0                 8       "bplist00"
//   8                         the objects: a marker byte each, then the content
//   table offset              the offset of each object, in `offset size` bytes
//   end - 32          6       unused
//   end - 26          1       offset size
//   end - 25          1       reference size
//   end - 24          8       number of objects
//   end - 16          8       index of the root
//   end - 8           8       table offset
//
//   marker   low half           content
//   0x0      8 false, 9 true    none
//   0x1      n                  integer of 2^n bytes; below 8 bytes unsigned, 16 bytes signed
//   0x2      n                  real of 2^n bytes (IEEE 754), n is 2 or 3
//   0x3      3                  date: seconds since 2001-01-01 UTC, a real of 8 bytes
//   0x4      count              bytes of data
//   0x5      count              ASCII characters
//   0x6      count              UTF-16 units
//   0x8      n                  unique identifier of n + 1 bytes
//   0xA      count              references to the elements
//   0xD      count              references to the keys, then to the values
//
// A count of 15 means that an integer object with the count follows the marker.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orvik::plist::binary_format {

inline constexpr std::string_view kMagic = "bplist0";
inline constexpr size_t kHeaderSize = 8;

// The trailer, and the positions of its fields.
inline constexpr size_t kTrailerSize = 32;
inline constexpr size_t kOffsetSizeField = 6;
inline constexpr size_t kReferenceSizeField = 7;
inline constexpr size_t kObjectCountField = 8;
inline constexpr size_t kRootField = 16;
inline constexpr size_t kTableOffsetField = 24;

// The upper half of a marker byte.
enum Marker : std::uint8_t {
  kSimple = 0x0,
  kInteger = 0x1,
  kReal = 0x2,
  kDate = 0x3,
  kData = 0x4,
  kAsciiString = 0x5,
  kUnicodeString = 0x6,
  kUniqueIdentifier = 0x8,
  kArray = 0xA,
  kDictionary = 0xD,
};

inline constexpr std::uint8_t kFalse = 0x08;
inline constexpr std::uint8_t kTrue = 0x09;
// The lower half of a marker whose count follows as an integer object.
inline constexpr std::uint8_t kLengthFollows = 0xF;

// The least number of bytes that a value or key takes in the XML form, which cannot share objects:
// the shortest element with its line end, and `content`, the units of a string or the bytes of
// data. A binary list may share objects and so represent far more than its own bytes: the limit
// kMaximumFileSize (sink.h) applies to this size.
constexpr std::uint64_t SizeWrittenOut(std::uint64_t content) {
  return std::string_view("<true/>\n").size() + content;
}

}  // namespace orvik::plist::binary_format
