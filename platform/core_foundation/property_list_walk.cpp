#include "platform/core_foundation/property_list_walk.h"

#include <algorithm>

namespace orvik {

PropertyListKind KindOfPropertyListObject(const NSObject* object) {
  if (object == nullptr) return PropertyListKind::kNone;
  const CFTypeID type = CFGetTypeID(object);
  if (type == CFStringGetTypeID()) return PropertyListKind::kString;
  if (type == CFDictionaryGetTypeID()) return PropertyListKind::kDictionary;
  if (type == CFNumberGetTypeID()) return PropertyListKind::kNumber;
  if (type == CFArrayGetTypeID()) return PropertyListKind::kArray;
  if (type == CFBooleanGetTypeID()) return PropertyListKind::kBoolean;
  if (type == CFDataGetTypeID()) return PropertyListKind::kData;
  if (type == CFDateGetTypeID()) return PropertyListKind::kDate;
  return PropertyListKind::kNone;
}

bool PropertyListWalk::Run(const NSObject* property_list, PropertyListOrder order,
                           Visitor& visitor) {
  PropertyListWalk walk(order, visitor);
  if (!walk.Visit(property_list)) return false;
  while (!walk.open_.empty()) {
    Container& container = walk.open_.back();
    if (container.next == walk.entries_.size()) {
      walk.entries_.resize(container.first);
      const PropertyListKind kind = container.kind;
      walk.open_.pop_back();
      if (!visitor.End(kind)) return false;
      continue;
    }
    const Entry entry = walk.entries_[container.next++];
    if (container.kind == PropertyListKind::kDictionary && !visitor.Key(entry.key)) return false;
    if (!walk.Visit(entry.value)) return false;
  }
  return true;
}

bool PropertyListWalk::Visit(const NSObject* object) {
  const PropertyListKind kind = KindOfPropertyListObject(object);
  if (kind == PropertyListKind::kNone) return false;
  if (kind != PropertyListKind::kArray && kind != PropertyListKind::kDictionary) {
    return visitor_.Leaf(object, kind);
  }
  if (open_.size() == kPropertyListMaximumDepth) return false;
  if (kind == PropertyListKind::kDictionary) {
    const auto* dictionary = static_cast<const NSDictionary*>(object);
    if (dictionary->isDeferred()) {
      const PropertyListDeferral deferral = visitor_.Deferred(*dictionary);
      if (deferral != PropertyListDeferral::kOpen) return deferral == PropertyListDeferral::kDone;
    }
  }
  const size_t first = entries_.size();
  open_.push_back({kind, first, first});
  if (kind == PropertyListKind::kDictionary) {
    if (!PushDictionary(static_cast<CFDictionaryRef>(object))) return false;
  } else {
    for (const NSObject* element : static_cast<CFArrayRef>(object)->Objects()) {
      entries_.push_back({nullptr, element});
    }
  }
  return visitor_.Begin(object, kind, entries_.size() - first);
}

bool PropertyListWalk::PushDictionary(CFDictionaryRef dictionary) {
  const size_t first = entries_.size();
  for (const NSDictionary::Entry& entry : dictionary->Entries()) {
    if (entry.key == nullptr) continue;
    if (entry.key->typeID() != CFStringGetTypeID()) return false;
    entries_.push_back({static_cast<const NSString*>(entry.key), entry.value});
  }
  if (order_ == PropertyListOrder::kByKey) {
    const auto by_key = [](const Entry& a, const Entry& b) { return a.key->compare(b.key) < 0; };
    const auto begin = entries_.begin() + static_cast<std::ptrdiff_t>(first);
    if (!std::is_sorted(begin, entries_.end(), by_key)) std::sort(begin, entries_.end(), by_key);
  }
  return true;
}

}  // namespace orvik
