// Values of the store as the tool prints and parses them, and elements of arrays.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/string.h"
#include "prefs/auto_release.h"
#include "prefs/key_path.h"
#include "prefs/transaction.h"

namespace orvik::prefstool {

enum class ValueType { kString, kInteger, kReal, kBoolean, kDate, kData, kArray, kDictionary };

ValueType TypeOf(CFPropertyListRef value);
// "string", "integer", "real", "boolean", "date", "data", "array" or "dictionary".
const char* TypeName(ValueType type);
inline const char* TypeName(CFPropertyListRef value) {
  return TypeName(TypeOf(value));
}

bool IsDictionary(CFPropertyListRef value);

// A leaf as text: a string as it is, numbers in decimal, "true" or "false", a date in ISO 8601
// (UTC), data in Base64. A container as JSON on one line. Two values that differ never have one
// text and one type. A lone surrogate in a string is written as in JSON (json.h).
std::string ValueText(CFPropertyListRef value);

// The value of the type that the text means; null when it means none.
//
//   string              any UTF-8
//   integer             decimal, of 64 bits, signed or not
//   real                decimal with or without an exponent; nan, inf, -inf
//   boolean             true, false, yes, no, on, off, 1, 0, in any case
//   date                2024-05-06T07:08:09Z, 2024-05-06T07:08:09.25Z, or the bits (json.h)
//   data                Base64 as RFC 4648 says: padded, without blanks
//   array, dictionary   JSON (json.h)
CAutoCFRelease<CFPropertyListRef> ParseValue(ValueType type, std::string_view text);
// The form of a type's texts, for messages: "an integer of 64 bits".
const char* TypeForm(ValueType type);
// Why a text is not a value of the type: "not Base64, from character 3 on".
std::string WhyNot(ValueType type, std::string_view text);

// Whether the text is what ValueText gives for the value, or means an equal value of its type.
bool IsTextOf(CFPropertyListRef value, const std::string& text);

// The entries of a dictionary in the order of their names' UTF-16 units. The dictionary owns them.
struct Entry {
  CFStringRef name;
  CFPropertyListRef value;
};
std::vector<Entry> SortedEntries(CFDictionaryRef dictionary);

// Walks the entries of a dictionary and of all dictionaries below it: a key comes before its
// entries. Uses no stack space for depth. The dictionary must outlive the walk.
class EntryWalk {
 public:
  explicit EntryWalk(CFDictionaryRef tree) { levels_.push_back({SortedEntries(tree)}); }

  // Advances to the next entry; false at the end.
  bool Next();

  // The names down to the entry, from the dictionary given, and the value there.
  const std::vector<CFStringRef>& names() const { return names_; }
  CFPropertyListRef value() const { return value_; }
  // A value, or a key without entries.
  bool is_leaf() const { return !has_entries_; }

 private:
  struct Level {
    std::vector<Entry> entries;
    std::size_t next = 0;
  };
  std::vector<Level> levels_;
  std::vector<CFStringRef> names_;
  CFPropertyListRef value_ = nullptr;
  bool has_entries_ = false;
};

// Names from the domain's top level down. Owned here, so it outlives what it was read from.
using Path = std::vector<std::string>;

Path PathOf(const KeyPath& key);
// The path `above`, and the names below it.
Path PathBelow(Path above, const std::vector<CFStringRef>& names);

// The names joined by "/", or a JSON array of them when one of them is empty, holds a "/" or "\\"
// or what a terminal must not receive, or when what is joined would be taken for an array. It is
// printed as it is; ParseKey reads either form.
std::string JoinedPath(const Path& path);

// A key path as people write it: names separated by "/" or "\\", or a JSON array of names. Nothing
// when the text is not UTF-8.
std::optional<KeyPath> ParseKey(const std::string& text);

struct ElementPath {
  CAtlString name;            // of the array
  std::vector<long> indices;  // negative ones count from the end
};

// Nothing when the text does not end in an index.
std::optional<ElementPath> ParseElement(const CAtlString& text);

// The element of the array; null when there is none. The array owns it.
CFTypeRef ElementAt(CFTypeRef array, std::span<const long> indices);

enum class ElementChange {
  kReplace,
  kInsert,  // before the element; an index that is the number of elements appends
  kRemove,
  kAppend,  // to the array that the indices lead to
};
// A changed copy of the array; null when the element does not exist. `value` may be null
// for kRemove alone, and `array` for kAppend without indices.
CAutoCFRelease<CFPropertyListRef> WithElement(CFTypeRef array, std::span<const long> indices,
                                              ElementChange change, CFTypeRef value);

// Replaces an array by the result of `make`, one step of a transaction. What is present, or null,
// is given to `make`; if that returns null, the step fails with kConditionNotMet.
void UpdateArray(Transaction& transaction, const KeyPath& key, const CAtlString& name,
                 std::function<CAutoCFRelease<CFPropertyListRef>(CFTypeRef present)> make);

}  // namespace orvik::prefstool
