// The two walks along a key path: the one of everything that reads, and the one of everything that
// changes.
#pragma once

#include <string>
#include <string_view>

#include "platform/core_foundation/dictionary.h"
#include "prefs/domain_store.h"
#include "prefs/key_path.h"

namespace orvik {

struct FoundKey {
  PrefStatus status;  // kNotFound, kNotAKey
  CFDictionaryRef dictionary = nullptr;
};

// The innermost dictionary of a path, starting from its first key's entry (null is kNotFound). It
// belongs to the entry.
FoundKey FindKey(CFTypeRef top_entry, const KeyPath& path);

// What a look-up finds in a store: kNotFound, kNotAKey.
struct FoundValue {
  PrefStatus status;
  CAutoCFRelease<CFTypeRef> value;
};

// The dictionary at a path with at least one component.
FoundValue FindKeyIn(DomainStore& store, const KeyPath& path);
// The entry of a name in the dictionary at the path; a top-level entry for an empty path.
FoundValue FindValueIn(DomainStore& store, const KeyPath& path, const CAtlString& name);

// Whether a property list has too few levels for the keys of the path and a value.
bool IsTooDeep(const KeyPath& path);

// Adds a step to a way for people: names in UTF-8 with "/" between them.
void AddToWay(std::string& way, std::string_view step);
void AddToWay(std::string& way, const CAtlString& name);
std::string WayOf(const KeyPath& path);
// kNotSerializable with the way to what cannot be kept: the names of the path, then of the value
// in it.
PrefStatus NotSerializable(const KeyPath& path, const CAtlString* name, CFTypeRef value);

// What to do where a key of the path does not exist.
enum class MissingKeys { kMake, kFail };

// The way to the innermost dictionary of a path, made modifiable. In a store that owns its entries
// they are changed in place; WriteBack then marks the change, and in any other store makes it. A
// walk that fails has changed nothing: it makes keys only where none exists. An entry on the path
// that is no dictionary ends the walk; it is never replaced.
class KeyWalk {
 public:
  // The path has at least one component.
  KeyWalk(DomainStore& store, const KeyPath& path, MissingKeys missing);

  // kNotFound, kNotAKey
  const PrefStatus& status() const { return status_; }
  // The innermost dictionary, once the status is ok.
  CFMutableDictionaryRef innermost() const { return innermost_; }

  // Whether keys were made on the way.
  bool made_keys() const { return made_keys_; }

  // Sets the top-level entry with all that was changed below it.
  PrefStatus WriteBack();

 private:
  DomainStore& store_;
  CAutoCFRelease<CFStringRef> top_name_;
  CAutoCFRelease<CFMutableDictionaryRef> top_;
  CFMutableDictionaryRef innermost_ = nullptr;  // inside top_
  bool made_keys_ = false;
  PrefStatus status_;
};

// Sets the name in the innermost dictionary of the path (among the top-level entries for an empty
// path), or removes it (null). kNotFound, kNotAKey, kNotSerializable (a path that is too deep):
// nothing was changed. Nor is a change made of what is there already.
PrefStatus ApplyChange(DomainStore& store, const KeyPath& path, const CAtlString& name,
                       CFTypeRef value, MissingKeys missing);

}  // namespace orvik
