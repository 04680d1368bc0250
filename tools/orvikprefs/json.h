// Property lists as JSON (RFC 8259), without loss: what is written reads as an equal value, every
// type to the bit.
//
//   string, boolean, integer, array, dictionary   as JSON has them
//   real                                          a number with a point or an exponent
//   date                                          {"$date": "2024-05-06T07:08:09Z"}, with as many
//                                                 digits of a second (":09.25Z") as give it again;
//                                                 "0x" and the 16 digits of its IEEE 754 double
//                                                 (seconds since 2001) outside the years 1 to 9999
//   data                                          {"$data": "TWFu"} (RFC 4648)
//   NaN and infinite reals                      {"$real": "nan"}, "inf", "-inf"
//   a dictionary with one of these names alone    {"$dictionary": {...}}
//
// A lone surrogate in a string or a name becomes U+FDD0 and its four hexadecimal digits, by the
// rule that XML property lists follow (plist/forms.h). Both directions take time proportional to
// the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plist/value.h"

namespace orvik::prefstool {

// Writes JSON as it is made up, in time proportional to its length. The caller opens, names and
// closes in the right order; nothing checks it.
//
// Control characters, and those that reorder text on a terminal (text.h), are written as "\u"
// escapes, so that what is read back is the same and what is seen is harmless.
class JsonWriter {
 public:
  enum class Layout { kOneLine, kIndented };  // indented by two blanks

  explicit JsonWriter(Layout layout = Layout::kIndented) : indented_(layout == Layout::kIndented) {}

  // Each call returns the writer itself, so that an object can be written as one chain of calls.
  JsonWriter& BeginObject() { return Begin('{'); }
  JsonWriter& EndObject() { return End('}'); }
  JsonWriter& BeginArray() { return Begin('['); }
  JsonWriter& EndArray() { return End(']'); }
  JsonWriter& Name(std::string_view utf8);

  // Appends a string. The text is UTF-8; other bytes are written as they are.
  JsonWriter& Text(std::string_view utf8);
  // Appends the path of a file, which may be any bytes: one that is not UTF-8 is escaped as the
  // lone surrogate that stands for it (host/file_names.h), so that the whole stays JSON.
  JsonWriter& File(std::string_view path);
  // Appends text that is JSON already, such as a number.
  JsonWriter& Raw(std::string_view json);
  JsonWriter& Boolean(bool value) { return Raw(value ? "true" : "false"); }
  JsonWriter& Integer(std::int64_t value) { return Raw(std::to_string(value)); }
  // Appends an array of strings.
  JsonWriter& Texts(const std::vector<std::string>& texts);

  // The text so far; Release gives it away and leaves the writer empty.
  const std::string& json() const { return json_; }
  std::string Release() { return std::move(json_); }

 private:
  JsonWriter& Begin(char bracket);
  JsonWriter& End(char bracket);
  void BeginValue();
  void BreakLine();
  void Append(std::string_view utf8);

  bool indented_;
  bool empty_ = true;  // nothing has been written into the open container yet
  bool after_name_ = false;
  int depth_ = 0;
  std::string json_;
};

// The names that make an object with one of them alone a wrapper.
inline constexpr const char* kDateWrapper = "$date";
inline constexpr const char* kDataWrapper = "$data";
inline constexpr const char* kRealWrapper = "$real";
inline constexpr const char* kDictionaryWrapper = "$dictionary";
bool IsWrapperName(std::string_view name);

// Writes a value; dictionaries in the order of their names' UTF-16 units. Does not recurse for
// depth. A dictionary that is still XML (plist/xml.h) goes from text to text, without a value made.
void WriteJson(JsonWriter& writer, const plist::Value& value);
std::string JsonText(const plist::Value& value,
                     JsonWriter::Layout layout = JsonWriter::Layout::kOneLine);

// The place and reason of a mistake in a text. Lines and columns count from 1, columns in
// characters (PlaceInText, text/shown_text.h). The reason is harmless text and may quote a part of
// the text, with names and values in it.
struct TextError {
  std::size_t line = 0;
  std::size_t column = 0;
  std::size_t byte = 0;  // from 0
  std::string reason;

  // "line 3, column 7 (byte 41): ..."
  std::string Message() const;
};

// The error at a byte of the text, from 0; one beyond the end is at the end.
TextError ErrorAt(std::string_view text, std::size_t byte, std::string reason);

// Reads a text that is one value, behind an optional byte order mark. A number without a point and
// an exponent is an integer of 64 bits, signed or not, any other one a real.
//
// Returns no value, and the first mistake, when the text is not JSON, or a part of it is not a
// property list (null, a malformed wrapper, a number out of the range of a double, a duplicate name
// in an object, more than plist::kMaximumDepth containers in one another). Then the reason names
// the way to that part: "duplicate name \"c\": \"b/0\"". Does not recurse for depth.
plist::Value ReadJson(std::string_view text, TextError* error);

// Reads the value that begins at `at`, or behind blanks there. `at` moves behind the value; the
// text may go on. Places of mistakes count from the beginning of the text.
plist::Value ReadJsonPart(std::string_view text, std::size_t* at, TextError* error);

}  // namespace orvik::prefstool
