// Reading and writing property lists in their three forms.
//
//   form      read                                                     written
//   XML       in UTF-8, UTF-16, UTF-32 or the declared encoding; a     UTF-8, tabs, dictionaries in
//             "plist" root or the bare value                           the order of their keys
//   binary    "bplist0?", integers of up to 64 bits, 16-byte integers  "bplist00", equal strings
//             whose value fits                                         once
//   old text  { key = value; }, and files of strings without the       never
//             outer braces; all leaves are strings or data
//
// Invalid bytes, and values that no form can hold, give no result; nothing is read or written in
// part. The error text of a textual form has a line and a column. Reading and writing allow
// kMaximumDepth nested containers and kMaximumFileSize bytes (sink.h), so that everything written
// can be read again. A binary list counts with its shared objects written out; it may also have at
// most 16 values for each byte of the file.
//
// XML knows only the five predefined entities and character references. The last of two equal keys
// wins. A unit that XML cannot carry (a control character other than tab, line feed and carriage
// return, a lone surrogate, U+FFFE, U+FFFF) is written as U+FDD0, a noncharacter, followed by the
// unit's four upper-case hexadecimal digits. Reading undoes it:
//
//   in memory               in the file
//   'a' U+0000 'b'          a U+FDD0 0000 b
//   U+FDD0 "0000"           U+FDD0 FDD0 0000     (only what would read as an escape is escaped)
//   U+FDD0 "zebra"          U+FDD0 zebra         (as other programs may have written it)
//
// A carriage return is written as "&#13;", so that it survives the line-end rule of XML. The
// element of a date has whole seconds. A date with a fraction, or without a year of at most eight
// digits, keeps its IEEE 754 bits in an attribute that other programs ignore:
//
//   0.25 s after the start of 2001   <date exact="3fd0000000000000">2001-01-01T00:00:00Z</date>
//
// The attribute counts only if the element has the text that is written for these bits.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/sink.h"
#include "plist/value.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

enum class Format { kNone = 0, kOldText = 1, kXml = 100, kBinary = 200 };

// A value, or no value and the reason.
struct Reading {
  Value root;
  Format format = Format::kNone;
  std::string error;
  // The list is too large with its shared objects written out.
  bool is_too_large = false;
};

// Detects the form and reads it. Dictionaries from XML share `bytes` until their first use. `bytes`
// must not be null. Throws nothing but std::bad_alloc, for any bytes. Takes time and memory
// proportional to the bytes; shared objects of the binary form are counted, not copied.
Reading Read(const Bytes& bytes);
Reading Read(std::string_view bytes);

Reading ReadBinary(std::string_view bytes);
// `text` is valid UTF-8 without a byte-order mark.
Reading ReadOldText(std::string_view text);

inline constexpr std::string_view kTooLarge =
    "The property list is too large: written out it has more than 512 MiB";
static_assert(kMaximumFileSize == std::size_t{512} << 20);

// The reason why a value cannot be written, and the place in the value.
struct Failure {
  // True: too many bytes. False: a value of kNone, or containers nested too deep.
  bool is_too_large = false;
  // The keys and indices that lead to the value, with "/" between them, in UTF-8.
  std::string path;
};

// Nothing when the value cannot be written; `failure`, unless null, then receives the reason. The
// memory used is at most a small multiple of the limit.
std::optional<std::string> WriteXml(const Value& value, Failure* failure = nullptr,
                                    std::size_t limit = kMaximumFileSize);
std::optional<std::string> WriteBinary(const Value& value, Failure* failure = nullptr,
                                       std::size_t limit = kMaximumFileSize);

// The path, as in Failure, of a part that a property list cannot hold (no value, or containers
// nested too deep); nothing for a value that can be written.
std::optional<std::string> FindFault(const Value& value);

}  // namespace plist
}  // namespace orvik
