#include "prefs/key_walk.h"

#include "prefs/platform_values.h"
#include "prefs/preferences.h"

namespace orvik {

namespace {

CAutoCFRelease<CFMutableDictionaryRef> ModifiableForm(CFTypeRef dictionary, bool is_modifiable) {
  if (is_modifiable) {
    CFRetain(dictionary);
    return CAutoCFRelease<CFMutableDictionaryRef>(AsMutable(dictionary));
  }
  return CAutoCFRelease<CFMutableDictionaryRef>(CFDictionaryCreateMutableCopy(
      kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(dictionary)));
}

}  // namespace

FoundKey FindKey(CFTypeRef top_entry, const KeyPath& path) {
  CFTypeRef entry = top_entry;
  for (int i = 1;; ++i) {
    if (entry == nullptr) {
      return {{PrefError::kNotFound}};
    }
    if (!IsADictionaryType(entry)) {
      return {{PrefError::kNotAKey}};
    }
    const auto dictionary = static_cast<CFDictionaryRef>(entry);
    if (i == path.count()) {
      return {{}, dictionary};
    }
    entry = CFDictionaryGetValue(dictionary, PlatformString(path.name(i + 1)));
  }
}

KeyWalk::KeyWalk(DomainStore& store, const KeyPath& path, MissingKeys missing)
    : store_(store), top_name_(PlatformString(path.name(1))) {
  const bool modifiable = store.OwnsEntries();
  const CAutoCFRelease<CFTypeRef> top_entry = store.CopyEntry(top_name_);
  CFTypeRef entry = top_entry;
  for (int i = 1; i <= path.count(); ++i) {
    if (entry != nullptr && !IsADictionaryType(entry)) {
      status_ = {PrefError::kNotAKey};
      return;
    }
    if (entry == nullptr && missing == MissingKeys::kFail) {
      status_ = {PrefError::kNotFound};
      return;
    }
    CAutoCFRelease<CFMutableDictionaryRef> key =
        entry == nullptr ? NewDictionary() : ModifiableForm(entry, modifiable);
    const CFMutableDictionaryRef reached = key;
    if (i == 1) {
      top_ = std::move(key);
    } else if (reached != entry) {
      CFDictionarySetValue(innermost_, PlatformString(path.name(i)), reached);
    }
    innermost_ = reached;
    if (i < path.count()) {
      entry = CFDictionaryGetValue(innermost_, PlatformString(path.name(i + 1)));
    }
  }
}

PrefStatus KeyWalk::WriteBack() {
  return store_.SetEntry(top_name_, top_);
}

PrefStatus ApplyChange(DomainStore& store, const KeyPath& path, const CAtlString& name,
                       CFTypeRef value, MissingKeys missing) {
  const CAutoCFRelease<CFStringRef> entry_name = PlatformString(name);
  if (path.empty()) {
    return store.SetEntry(entry_name, value);
  }
  KeyWalk walk(store, path, missing);
  if (!walk.status().ok()) {
    return walk.status();
  }
  if (value != nullptr) {
    CFDictionarySetValue(walk.innermost(), entry_name, value);
  } else {
    CFDictionaryRemoveValue(walk.innermost(), entry_name);
  }
  return walk.WriteBack();
}

}  // namespace orvik
