// The shape of a binary property list: the header "bplist00", objects that begin with a marker
// byte, a table of their offsets, and a trailer. All numbers are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orvik::plist::binary_format {

inline constexpr std::string_view kMagic = "bplist0";
inline constexpr size_t kHeaderSize = 8;

// Five unused bytes, sort version, offset size, reference size, object count, root, table offset.
inline constexpr size_t kTrailerSize = 32;
inline constexpr size_t kOffsetSizeField = 6;
inline constexpr size_t kReferenceSizeField = 7;
inline constexpr size_t kObjectCountField = 8;
inline constexpr size_t kRootField = 16;
inline constexpr size_t kTableOffsetField = 24;

// Upper half of a marker byte; the lower half is a length or its logarithm.
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
// A lower half that says that an integer object with the length follows.
inline constexpr std::uint8_t kLengthFollows = 0xF;

// Objects may be shared, so that a list can be far larger than its file. Counted is what the values
// and keys take at least in the XML form, in which nothing is shared: the shortest element with its
// line end, and the units of a string or the bytes of data.
constexpr std::uint64_t SizeWrittenOut(std::uint64_t content) {
  return std::string_view("<true/>\n").size() + content;
}

}  // namespace orvik::plist::binary_format
