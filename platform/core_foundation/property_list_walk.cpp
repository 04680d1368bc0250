#include "platform/core_foundation/property_list_walk.h"

#include <algorithm>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list_xml.h"
#include "platform/core_foundation/string.h"

namespace orvik {

bool PropertyListWalk::Run(const NSObject* property_list) {
  if (!Visit(property_list)) return false;
  while (!open_.empty()) {
    Container& container = open_.back();
    if (container.next == entries_.size()) {
      entries_.resize(container.first);
      open_.pop_back();
      if (!sink_.Close()) return false;
      continue;
    }
    const Entry entry = entries_[container.next++];
    if (container.is_dictionary && !sink_.Key(PropertyListText(entry.key))) return false;
    if (!Visit(entry.value)) return false;
  }
  return true;
}

std::string PropertyListWalk::Path() const {
  std::string path;
  for (const Container& container : open_) {
    if (container.next == container.first) break;
    if (!path.empty()) path += '/';
    path += container.is_dictionary ? entries_[container.next - 1].key->ToUtf8()
                                    : std::to_string(container.next - 1 - container.first);
  }
  return path;
}

bool PropertyListWalk::Visit(const NSObject* object) {
  if (object == nullptr) return false;
  const CFTypeID type = object->typeID();
  const bool is_dictionary = type == CFDictionaryGetTypeID();
  if (!is_dictionary && type != CFArrayGetTypeID()) return Leaf(object, type);
  if (open_.size() == kPropertyListMaximumDepth) return false;
  const std::size_t first = entries_.size();
  if (is_dictionary) {
    const auto* dictionary = static_cast<CFDictionaryRef>(object);
    const auto content = dictionary->isDeferred() ? dictionary->deferredContent() : nullptr;
    if (const auto* xml = dynamic_cast<const XmlDictionaryContent*>(content.get())) {
      const PropertyListTaking taking = sink_.Dictionary(xml->dictionary());
      if (taking != PropertyListTaking::kWantsEntries) return taking == PropertyListTaking::kTaken;
    }
    open_.push_back({true, first, first});
    return PushDictionary(dictionary) && sink_.OpenDictionary(entries_.size() - first);
  }
  open_.push_back({false, first, first});
  for (const NSObject* element : static_cast<CFArrayRef>(object)->Objects()) {
    entries_.push_back({nullptr, element});
  }
  return sink_.OpenArray(entries_.size() - first);
}

bool PropertyListWalk::Leaf(const NSObject* object, CFTypeID type) {
  if (type == CFStringGetTypeID()) {
    return sink_.String(PropertyListText(static_cast<CFStringRef>(object)));
  }
  if (type == CFNumberGetTypeID()) {
    const auto* number = static_cast<CFNumberRef>(object);
    if (number->isReal()) return sink_.Real(number->doubleValue(), number->width());
    return sink_.Integer({number->bits(), number->kind() == NSNumber::Kind::kUnsigned});
  }
  if (type == CFBooleanGetTypeID()) return sink_.Boolean(object == kCFBooleanTrue);
  if (type == CFDateGetTypeID()) {
    return sink_.Date(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)));
  }
  if (type == CFDataGetTypeID()) {
    const auto* data = static_cast<CFDataRef>(object);
    return sink_.Data(data->View(), data);
  }
  return false;
}

bool PropertyListWalk::PushDictionary(CFDictionaryRef dictionary) {
  const std::size_t first = entries_.size();
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
