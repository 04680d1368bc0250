// The walks along a key path for look-ups and changes, and the conversions of the values for the
// readers.
#pragma once

#include <string>
#include <string_view>

#include "plist/value.h"
#include "prefs/domain_store.h"
#include "prefs/key_path.h"
#include "prefs/reporting.h"

namespace orvik {

// The look-ups fail with kNotFound or kNotAKey.
//
// The innermost dictionary of a path, starting from the dictionary that contains its first key.
PrefValue FindKey(const plist::Value& root, const KeyPath& path);
// The entry `name` in that dictionary; a top-level entry for an empty path.
PrefValue FindValue(const plist::Value& root, const KeyPath& path, const CAtlString& name);
// The same in a store. FindKeyIn needs a path of at least one key. Only the first entry is
// requested, so a store that keeps its entries separately reads only this one.
PrefValue FindKeyIn(DomainStore& store, const KeyPath& path);
PrefValue FindValueIn(DomainStore& store, const KeyPath& path, const CAtlString& name);

// Whether the path has too many keys for a property list with a value below them.
bool IsTooDeep(const KeyPath& path);

// Adds a step to a path for messages: names in UTF-8 with "/" between them.
void AddToWay(std::string& way, std::string_view step);
void AddToWay(std::string& way, const CAtlString& name);
// The names of all keys of the path.
std::string WayOf(const KeyPath& path);
// kNotSerializable with the path to the value that a property list cannot hold: the names of the
// path, then those inside the value.
PrefStatus NotSerializable(const KeyPath& path, const CAtlString* name, const plist::Value& value);

// Whether to make missing keys of the path.
enum class MissingKeys { kMake, kFail };

// Sets the name in the innermost dictionary of the path (among the top-level entries for an empty
// path), or removes it (no value). kNotFound, kNotAKey and kNotSerializable (the path is too deep)
// change nothing. A value on the path that is not a dictionary is never replaced. Setting the
// present value is not a change.
PrefStatus ApplyChange(DomainStore& store, const KeyPath& path, const CAtlString& name,
                       const plist::Value& value, MissingKeys missing);

// The result of the readers for a value: the table at GetPreferenceString (preferences.h). No
// result for no value and for a value that is neither a string nor a number.
std::optional<CAtlString> TextOfValue(const plist::Value& value);
std::optional<int> IntOfValue(const plist::Value& value);

}  // namespace orvik
