// Property lists as JSON (RFC 8259), without loss: the written text is read as an equal value,
// every type to the bit.
//
//   string, boolean, integer, array, dictionary   as JSON has them
//   real                                          a number with a point or an exponent
//   date                                          {"$date": "2024-05-06T07:08:09Z"}, with the
//                                                 digits of a second that it needs (":09.25Z");
//                                                 outside the years 1 to 9999 "0x" and the 16
//                                                 digits of its IEEE 754 double (seconds since
//                                                 2001)
//   data                                          {"$data": "TWFu"} (RFC 4648)
//   NaN and infinite reals                        {"$real": "nan"}, "inf", "-inf"
//   a dictionary with only one of these names     {"$dictionary": {...}}
//
// A lone surrogate in a string or a name becomes U+FDD0 and its four hexadecimal digits, by the
// rule for XML property lists (plist/forms.h). Both directions take time proportional to the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plist/value.h"

namespace orvik::prefstool {

// Writes JSON piece by piece, in time proportional to its length. The caller must open, name and
// close in the right order; that is not checked.
//
// Control characters, and those that reorder text on a terminal (text.h), are written as "\u"
// escapes, so that the text is harmless but reads back unchanged.
class JsonWriter {
 public:
  enum class Layout { kOneLine, kIndented };  // indented by two blanks

  explicit JsonWriter(Layout layout = Layout::kIndented) : indented_(layout == Layout::kIndented) {}

  // Each call returns the writer itself, so that calls can be chained.
  JsonWriter& BeginObject() { return Begin('{'); }
  JsonWriter& EndObject() { return End('}'); }
  JsonWriter& BeginArray() { return Begin('['); }
  JsonWriter& EndArray() { return End(']'); }
  JsonWriter& Name(std::string_view utf8);

  // Appends a string. The text should be UTF-8; other bytes are written unchanged.
  JsonWriter& Text(std::string_view utf8);
  // Appends the path of a file, which may be any bytes. A byte that is not UTF-8 is escaped as the
  // lone surrogate that represents it (host/file_names.h), so that the text stays JSON.
  JsonWriter& File(std::string_view path);
  // Appends text that is JSON already, such as a number.
  JsonWriter& Raw(std::string_view json);
  JsonWriter& Boolean(bool value) { return Raw(value ? "true" : "false"); }
  JsonWriter& Integer(std::int64_t value) { return Raw(std::to_string(value)); }
  // Appends an array of strings.
  JsonWriter& Texts(const std::vector<std::string>& texts);

  // The text so far; Release returns it and empties the writer.
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

// An object with only one of these names is a wrapper.
inline constexpr const char* kDateWrapper = "$date";
inline constexpr const char* kDataWrapper = "$data";
inline constexpr const char* kRealWrapper = "$real";
inline constexpr const char* kDictionaryWrapper = "$dictionary";
bool IsWrapperName(std::string_view name);

// Writes a value; dictionaries in the order of their names' UTF-16 units. Does not recurse for
// depth. A dictionary that is still XML (plist/xml.h) is converted text to text, without making
// values.
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

// The error at a byte of the text, from 0; a byte beyond the end means the end.
TextError ErrorAt(std::string_view text, std::size_t byte, std::string reason);

// Reads a text that is one value, after an optional byte order mark. A number without a point and
// an exponent is an integer of 64 bits, signed or not; other numbers are reals.
//
// Returns no value, and the first mistake, when the text is not JSON, or a part of it cannot be in
// a property list (null, a malformed wrapper, a number out of the range of a double, a duplicate
// name in an object, more than plist::kMaximumDepth nested containers). Then the reason names the
// path to that part: "duplicate name \"c\": \"b/0\"". Does not recurse for depth.
plist::Value ReadJson(std::string_view text, TextError* error);

// Reads the value that begins at `at`, or after blanks there. `at` moves behind the value; more
// text may follow. Positions of mistakes count from the beginning of the text.
plist::Value ReadJsonPart(std::string_view text, std::size_t* at, TextError* error);

}  // namespace orvik::prefstool
