// The registry-like preference store: values addressed by scope, key path, value name and domain.
//
// Each key of a key path is a dictionary inside the one before it; the first is a top-level entry
// of the domain. With an empty key path the value name is itself a top-level entry. Value names are
// used as given; the empty name is valid. scope.h has the scopes, key_path.h the paths.
// Writers and deleters return one of the result codes below. They return success even if the store
// could not save (transaction.h reports that). Unknown scopes read and write nothing. Strings are
// taken by value; the caller's strings do not change.
//
// Several threads may read and change settings at once. A mutex guards the store's memory between
// two calls (the entries of the user and machine scopes that it has read). A change in one thread
// waits for a change in another thread as for one in another process.
#pragma once

#include "platform/core_foundation/base.h"
#include "prefs/scope.h"
#include "strings/atl_array.h"
#include "strings/atl_string.h"
#include "strings/platform_reference.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// The answers of the writers and deleters.
inline constexpr DWORD kPreferenceSuccess = 0;
inline constexpr DWORD kPreferenceNotFound = 2;
inline constexpr DWORD kPreferenceInvalidDomain = 123;  // unusable domain; nothing was touched
// The key path leads through a value, or the path has more components than a property list
// may have levels.
inline constexpr DWORD kPreferenceBadKey = 1010;
inline constexpr DWORD kPreferenceLockNotObtained = 1460;  // shared scope; nothing was changed

// Set a value under a key path. Missing keys are made, and a value of that name is replaced,
// whatever its type. A value on the key path that is not a dictionary is not overwritten
// (kPreferenceBadKey).
DWORD WritePreferenceString(int scope, CAtlString key_path, CAtlString name, CAtlString value,
                            CAtlString domain);
DWORD WritePreferenceInt(int scope, CAtlString key_path, CAtlString name, int value,
                         CAtlString domain);

// The value, or the default when there is none that converts; *error (not null) becomes 0 or 2.
//
//   stored           as a string              as an int
//   string           itself                   its leading integer, 0 without one
//   integer number   that int in decimal      the nearest int
//   real number      with nine decimals       the nearest int, without the fraction; 0 for nan
//   anything else    not found                not found
//
// An integer beyond 32 bits reads as the largest or smallest int.
CAtlString GetPreferenceString(int scope, CAtlString key_path, CAtlString name,
                               CAtlString default_value, unsigned long* error, CAtlString domain);
int GetPreferenceInt(int scope, CAtlString key_path, CAtlString name, int default_value,
                     unsigned long* error, CAtlString domain);

// Removes a value (or key) of a key path. kPreferenceNotFound when the key path does not exist or
// leads through a value; success when only the name is missing. Keys that become empty stay.
DWORD DeletePreference(int scope, CAtlString key_path, CAtlString name, CAtlString domain);

// Removes the last key of the key path with everything below it; success also when it does not
// exist. The path is split at its last separator, and the rest is normalised again: "A//B" removes
// the entry "B" of the key "A", whereas every other operation takes it as the key "B" in the key ""
// in "A". An empty path means the top-level entry with the empty name.
DWORD RecursivePreferenceDelete(int scope, CAtlString key_path, CAtlString domain);

// Appends the names of all values and keys under a key path, in any order; nothing for an empty or
// missing key path.
void ListPreferences(int scope, CAtlString key_path,
                     CAtlArray<CAtlString, CElementTraits<CAtlString>>& names, CAtlString domain);

// The folder of an application's data below the maker's folder in the user's Application Support
// folder, ending in "/". It is not made. The case of the names does not matter:
//
//   vistago                 .../ORVIK Technologies/Vistgo/
//   ORVIK Pagewell          .../ORVIK Technologies/Pagewell Software/
//   Shared, ORVIK Tavlo Software, ORVIK Conceptra, any other   .../ORVIK Technologies/<name>/
CAtlString GetPreferenceApplicationPath(CAtlString application);

// Whether a property-list object is a dictionary; false for null.
bool IsADictionaryType(CFTypeRef value);
template <NoReferenceFor<CFTypeRef> Value>
bool IsADictionaryType(const Value&) = delete;  // use a platform object

}  // namespace orvik
