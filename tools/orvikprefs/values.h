// Values as the tool prints and parses them, their entries and elements, and the paths to them.
//
// Texts are UTF-8 and not harmless: escape them before showing them (text.h).
//
// The tool works on plist::Value (plist/value.h). A Value without a type means that there is no
// value: it was not found, a text could not be parsed, or a side of a difference is missing.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plist/differences.h"
#include "plist/value.h"
#include "prefs/key_path.h"
#include "strings/atl_string.h"

namespace orvik::prefstool {

using plist::Type;
using plist::Value;

// "string", "integer", "real", "boolean", "date", "data", "array" or "dictionary"; "" for no value.
const char* TypeName(Type type);
inline const char* TypeName(const Value& value) {
  return TypeName(value.type());
}

// Returns a value as text. A string is itself; a number is decimal; a boolean is "true" or "false";
// data is Base64; a container is JSON on one line (json.h). Different values never have both the
// same text and the same type. A lone surrogate in a string is escaped as in JSON.
//
//   date                                        text
//   in the years 1 to 9999                      2024-05-06T07:08:09Z (ISO 8601, UTC)
//   the same with a fraction of a second        2024-05-06T07:08:09.25Z, with the digits needed
//   other dates                                 "0x" and the 16 digits of its IEEE 754 double, the
//                                               seconds since 2001
std::string ValueText(const Value& value);

// Parses the text as a value of the type; no value when it is invalid. A text of ValueText gives
// its value.
//
//   string              any UTF-8
//   integer             decimal, of 64 bits, signed or not
//   real                decimal with or without an exponent; nan, inf, -inf
//   boolean             true, false, yes, no, on, off, 1, 0, in any case
//   date                a text of ValueText; the time, or a part at its end, may be missing
//   data                Base64 as RFC 4648 says: padded, without blanks
//   array, dictionary   JSON (json.h)
Value ParseValue(Type type, std::string_view text);
// The form of a type's texts, for messages: "an integer of 64 bits".
const char* TypeForm(Type type);
// Why a text is not a value of the type: "not Base64, from character 3 on".
std::string WhyNot(Type type, std::string_view text);

// Names from the domain's top level down, each as NameText gives it.
using Path = std::vector<std::string>;

// A name in UTF-8. A lone surrogate is escaped as in JSON (json.h), so that different names never
// have the same text.
std::string NameText(const plist::Text& name);
// Decodes a text of NameText; no value when it is not UTF-8.
std::optional<CAtlString> NameUnits(std::string_view name);

// The names of a key path.
Path PathOf(const KeyPath& key);

// Whether the path equals `above` or leads below it.
bool IsAtOrBelow(const Path& path, const Path& above);

// The names joined by "/". A JSON array of them when a name is empty or contains "/", "\\", an
// escape or an unsafe character, or when the joined text would look like an array. It is printed
// unchanged; ParseKey reads both forms.
std::string JoinedPath(const Path& path);

// Parses a key path: names separated by "/" or "\\", each as NameText writes it, or a JSON array of
// names. No value when the text is not UTF-8.
std::optional<KeyPath> ParseKey(const std::string& text);
// The key path of a list of strings; no value for other values.
std::optional<KeyPath> KeyOfNames(const Value& list);

// Walks the entries of a dictionary and of all dictionaries below it: a key comes before its
// entries, names ascend by their UTF-16 units. Uses no stack space for depth.
class EntryWalk {
 public:
  // `tree` is a dictionary; other values have no entries. The walk keeps it. `above` is put before
  // every path.
  explicit EntryWalk(const Value& tree, Path above = {});

  // Advances to the next entry; false at the end. The functions below are for this entry; their
  // results are valid until the next call.
  bool Next();

  const Path& path() const { return path_; }
  plist::Text name() const { return entry_->key.text(); }
  const Value& value() const { return entry_->value; }
  // A value, or a key without entries.
  bool is_leaf() const { return !value().is_dictionary() || value().count() == 0; }

 private:
  struct Level {
    std::vector<const Value::Entry*> entries;
    std::size_t next = 0;
  };

  Value tree_;  // owns the entries
  std::size_t above_;
  Path path_;
  std::vector<Level> levels_;
  const Value::Entry* entry_ = nullptr;
};

// An element of an array, which may be inside other arrays.
struct ElementPath {
  CAtlString name;            // of the outermost array, in its key
  std::vector<long> indices;  // negative ones count from the end
};

// Parses "NAME[2][-1]". No value when the text does not end in an index. An index of more than 64
// bits becomes the largest one, which no array has.
std::optional<ElementPath> ParseElement(const CAtlString& text);

// The element of the array; the array itself for no indices; no value when the element does not
// exist, or an index leads into a value that is not an array.
Value ElementAt(Value array, std::span<const long> indices);

enum class ElementChange {
  kReplace,
  kInsert,  // before the element; an index equal to the number of elements appends
  kRemove,
  kAppend,  // to the array at the indices
};
// Returns the array with the change; other holders of the array keep it unchanged. No value when
// the element does not exist, or an index leads into a value that is not an array. kRemove ignores
// `value`. kAppend without indices makes a missing array; the other changes need an index.
Value WithElement(Value array, std::span<const long> indices, ElementChange change,
                  const Value& value);

}  // namespace orvik::prefstool
