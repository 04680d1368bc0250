#include "prefs/key_walk.h"

#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/property_list_equality.h"
#include "platform/core_foundation/property_list_fault.h"
#include "prefs/dictionary_type.h"
#include "prefs/platform_values.h"
#include "strings/utf8_strings.h"

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

FoundValue FindKeyIn(DomainStore& store, const KeyPath& path) {
  const auto top = store.CopyEntry(PlatformString(path.name(1)));
  const FoundKey key = FindKey(top, path);
  return {key.status, CAutoCFRelease<CFTypeRef>::Retaining(key.dictionary)};
}

FoundValue FindValueIn(DomainStore& store, const KeyPath& path, const CAtlString& name) {
  const CAutoCFRelease<CFStringRef> entry_name = PlatformString(name);
  FoundValue found;
  if (path.empty()) {
    found.value = store.CopyEntry(entry_name);
  } else {
    found = FindKeyIn(store, path);
    if (!found.status.ok()) {
      return found;
    }
    found.value = CAutoCFRelease<CFTypeRef>::Retaining(
        CFDictionaryGetValue(static_cast<CFDictionaryRef>(found.value.Get()), entry_name));
  }
  if (!found.value) {
    found.status = {PrefError::kNotFound};
  }
  return found;
}

bool IsTooDeep(const KeyPath& path) {
  return path.count() >= kPropertyListMaximumDepth;
}

void AddToWay(std::string& way, std::string_view step) {
  if (!way.empty() && !step.empty()) {
    way += '/';
  }
  way += step;
}

void AddToWay(std::string& way, const CAtlString& name) {
  AddToWay(way, MakeUTF8StringFromUnicodeString(name).View());
}

std::string WayOf(const KeyPath& path) {
  std::string way;
  for (int i = 1; i <= path.count(); ++i) {
    AddToWay(way, path.name(i));
  }
  return way;
}

PrefStatus NotSerializable(const KeyPath& path, const CAtlString* name, CFTypeRef value) {
  std::string way = WayOf(path);
  if (name != nullptr) {
    AddToWay(way, *name);
  }
  AddToWay(way, FaultInPropertyList(value).value_or(std::string()));
  return {.error = PrefError::kNotSerializable, .path = std::move(way)};
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
    made_keys_ = made_keys_ || entry == nullptr;
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
  if (value != nullptr && IsTooDeep(path)) {
    return NotSerializable(path, &name, value);
  }
  KeyWalk walk(store, path, missing);
  if (!walk.status().ok()) {
    return walk.status();
  }
  const CFTypeRef present = CFDictionaryGetValue(walk.innermost(), entry_name);
  // The same object comes back when its contents were changed.
  const bool is_there = (value == nullptr || present != value) && IsSameValue(present, value);
  if (is_there && store.OwnsEntries() && !walk.made_keys()) {
    return PrefStatus::Ok();
  }
  if (value != nullptr) {
    CFDictionarySetValue(walk.innermost(), entry_name, value);
  } else {
    CFDictionaryRemoveValue(walk.innermost(), entry_name);
  }
  return walk.WriteBack();
}

}  // namespace orvik
