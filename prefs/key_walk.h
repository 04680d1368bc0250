// The walks along a key path, looking up and changing, and the conversions of what the readers
// find.
#pragma once

#include <string>
#include <string_view>

#include "plist/value.h"
#include "prefs/domain_store.h"
#include "prefs/key_path.h"
#include "prefs/reporting.h"

namespace orvik {

// The look-ups: kNotFound, kNotAKey.
//
// The innermost dictionary of a path, starting from the dictionary that holds its first key.
PrefValue FindKey(const plist::Value& root, const KeyPath& path);
// The entry of a name in that dictionary; a top-level entry for an empty path.
PrefValue FindValue(const plist::Value& root, const KeyPath& path, const CAtlString& name);
// The same in a store. FindKeyIn needs a path of at least one key. Only the first entry is asked
// for, so that a store that keeps its entries apart reads no other.
PrefValue FindKeyIn(DomainStore& store, const KeyPath& path);
PrefValue FindValueIn(DomainStore& store, const KeyPath& path, const CAtlString& name);

// Whether a property list has too few levels for the keys of the path and a value.
bool IsTooDeep(const KeyPath& path);

// Adds a step to a path for people: names in UTF-8 with "/" between them.
void AddToWay(std::string& way, std::string_view step);
void AddToWay(std::string& way, const CAtlString& name);
// The names of all keys of the path.
std::string WayOf(const KeyPath& path);
// kNotSerializable with the path to the value that cannot be kept: the names of the path, then
// those inside the value.
PrefStatus NotSerializable(const KeyPath& path, const CAtlString* name, const plist::Value& value);

// Whether to make keys of the path that do not exist.
enum class MissingKeys { kMake, kFail };

// Sets the name in the innermost dictionary of the path (among the top-level entries for an empty
// path), or removes it (no value). kNotFound, kNotAKey, kNotSerializable (the path is too deep):
// nothing was changed. A value on the path that is not a dictionary is never replaced. Setting the
// value that is there already is not a change.
PrefStatus ApplyChange(DomainStore& store, const KeyPath& path, const CAtlString& name,
                       const plist::Value& value, MissingKeys missing);

// A value as the readers give it: the table at GetPreferenceString (preferences.h). Nothing for no
// value and for a value that is neither a string nor a number.
std::optional<CAtlString> TextOfValue(const plist::Value& value);
std::optional<int> IntOfValue(const plist::Value& value);

}  // namespace orvik
