// The two walks along a key path: the one of everything that reads, and the one of everything that
// changes.
#pragma once

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

// What to do where a key of the path does not exist.
enum class MissingKeys { kMake, kFail };

// The way to the innermost dictionary of a path, made modifiable; nothing reaches the store before
// WriteBack. An entry on the path that is no dictionary ends the walk: it is never replaced.
class KeyWalk {
 public:
  // The path has at least one component.
  KeyWalk(DomainStore& store, const KeyPath& path, MissingKeys missing);

  // kNotFound, kNotAKey
  const PrefStatus& status() const { return status_; }
  // The innermost dictionary, once the status is ok.
  CFMutableDictionaryRef innermost() const { return innermost_; }

  // Sets the top-level entry with all that was changed below it.
  PrefStatus WriteBack();

 private:
  DomainStore& store_;
  CAutoCFRelease<CFStringRef> top_name_;
  CAutoCFRelease<CFMutableDictionaryRef> top_;
  CFMutableDictionaryRef innermost_ = nullptr;  // inside top_
  PrefStatus status_;
};

// Sets the name in the innermost dictionary of the path (among the top-level entries for an empty
// path), or removes it (null), and hands the change to the store. kNotFound, kNotAKey: nothing was
// handed over.
PrefStatus ApplyChange(DomainStore& store, const KeyPath& path, const CAtlString& name,
                       CFTypeRef value, MissingKeys missing);

}  // namespace orvik
