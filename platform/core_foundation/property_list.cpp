#include "platform/core_foundation/property_list.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/string.h"
#include "plist/events.h"
#include "plist/forms.h"

namespace orvik {
namespace {

// Held while a collection makes its objects, which make none of their own meanwhile.
std::mutex deferral_mutex;

// The objects in a collection, one after the other.
class Contents {
 public:
  explicit Contents(const NSObject* collection) {
    if (collection->typeID() == CFArrayGetTypeID()) {
      array_ = &static_cast<const NSArray*>(collection)->Objects();
    } else {
      entries_ = &static_cast<const NSDictionary*>(collection)->Entries();
    }
  }

  bool is_dictionary() const { return entries_ != nullptr; }

  // The next object with its key, which is null in an array; null at the end.
  const NSObject* Next(const NSObject** key) {
    *key = nullptr;
    if (array_ != nullptr) return next_ < array_->size() ? (*array_)[next_++] : nullptr;
    while (next_ < entries_->size()) {
      const NSDictionary::Entry& entry = (*entries_)[next_++];
      if (entry.key == nullptr) continue;
      *key = entry.key;
      return entry.value;
    }
    return nullptr;
  }

  // Of the object that was handed out last.
  std::string Name() const {
    if (array_ != nullptr) return std::to_string(next_ - 1);
    const NSObject* const key = (*entries_)[next_ - 1].key;
    return key->typeID() == CFStringGetTypeID() ? static_cast<CFStringRef>(key)->ToUtf8() : "";
  }

 private:
  const std::vector<const NSObject*>* array_ = nullptr;
  const std::vector<NSDictionary::Entry>* entries_ = nullptr;
  std::size_t next_ = 0;
};

bool IsUsedCollection(const NSObject* object) {
  const CFTypeID type = object->typeID();
  return (type == CFArrayGetTypeID() || type == CFDictionaryGetTypeID()) &&
         !static_cast<const NSCollection*>(object)->isDeferred();
}

// Makes the value of a tree of objects. Does not recurse.
class TreeValue {
 public:
  // No value for a tree that no property list can hold.
  plist::Value Make(const NSObject* object) {
    const NSObject* key = nullptr;
    for (;;) {
      if (!(IsUsedCollection(object) ? Open(object) : Add(object))) return {};
      while (open_.empty() || (object = open_.back().Next(&key)) == nullptr) {
        if (open_.empty()) return builder_.Take();
        open_.pop_back();
        if (!builder_.Close()) return {};
      }
      if (key != nullptr &&
          (key->typeID() != CFStringGetTypeID() || !builder_.SetKey(key->value()))) {
        return {};
      }
    }
  }

  // Where it stopped, as plist::Failure gives it.
  std::string Path() const {
    std::string path;
    for (const Contents& contents : open_) path += (path.empty() ? "" : "/") + contents.Name();
    return inner_path_.empty() ? path : path + (path.empty() ? "" : "/") + inner_path_;
  }

 private:
  bool Open(const NSObject* collection) {
    const Contents contents(collection);
    if (!(contents.is_dictionary() ? builder_.OpenDictionary(0) : builder_.OpenArray(0))) {
      return false;
    }
    open_.push_back(contents);
    return true;
  }

  // Piece by piece, because it may lie too deep here.
  bool Add(const NSObject* object) {
    const plist::Value value = object->value();
    plist::ValueWalk walk(plist::EntryOrder::kStored, builder_);
    if (walk.Run(&value)) return true;
    inner_path_ = walk.Path();
    return false;
  }

  plist::ValueBuilder builder_;
  std::vector<Contents> open_;
  std::string inner_path_;
};

}  // namespace

void NSCollection::MakeAllObjects() const {
  const std::lock_guard lock(deferral_mutex);
  if (!isDeferred()) return;
  const_cast<NSCollection*>(this)->MakeObjects(content_, options_);
  content_ = {};
  is_deferred_.store(false, std::memory_order_release);
}

NSObject* NSCollection::copy() const {
  return isMutable() ? CopyObjects(kCFPropertyListImmutable)
                     : const_cast<NSCollection*>(Retained(this));
}

NSObject* NSCollection::mutableCopy() const {
  return CopyObjects(kCFPropertyListMutableContainers);
}

plist::Value NSCollection::value() const {
  {
    const std::lock_guard lock(deferral_mutex);
    if (isDeferred()) return content_;
  }
  return TreeValue().Make(this);
}

CFTypeRef CreateObject(const plist::Value& value, CFOptionFlags mutability_option) {
  switch (value.type()) {
    case plist::Type::kNone:
      return nullptr;
    case plist::Type::kString:
      return mutability_option == kCFPropertyListMutableContainersAndLeaves
                 ? NSString::NewMutable(value.text().ToUnits())
                 : NSString::NewFromValue(value);
    case plist::Type::kInteger: {
      const plist::Integer integer = value.integer();
      return integer.is_unsigned ? NSNumber::CreateUnsigned(integer.bits)
                                 : NSNumber::Create(static_cast<std::int64_t>(integer.bits));
    }
    case plist::Type::kReal:
      return NSNumber::CreateReal(value.real(), value.width());
    case plist::Type::kBoolean:
      return NSNumber::CreateBoolean(value.boolean());
    case plist::Type::kDate:
      return NSDate::Create(value.date());
    case plist::Type::kData:
      return NSData::Create(value.data());
    case plist::Type::kArray:
      return NSArray::Create(value, mutability_option);
    case plist::Type::kDictionary:
      return NSDictionary::Create(value, mutability_option);
  }
  return nullptr;
}

std::optional<plist::Value> ValueOfObject(CFTypeRef object, std::string* path) {
  if (object == nullptr) return std::nullopt;
  plist::Value value = ObjectOf(object)->value();
  if (value) return value;
  if (path != nullptr) {
    TreeValue tree;
    tree.Make(ObjectOf(object));
    *path = tree.Path();
  }
  return std::nullopt;
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef, CFDataRef xml_data,
                                                  CFOptionFlags mutability_option,
                                                  CFStringRef* error_string) {
  const plist::Reading reading =
      xml_data == nullptr ? plist::Read(std::string_view()) : plist::Read(xml_data->Shared());
  if (error_string != nullptr) {
    *error_string = reading.root ? nullptr : NSString::NewFromAscii(reading.error);
  }
  return CreateObject(reading.root, mutability_option);
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef, CFPropertyListRef property_list) {
  const std::optional<plist::Value> value = ValueOfObject(property_list);
  std::optional<std::string> xml = value ? plist::WriteXml(*value) : std::nullopt;
  return xml ? NSData::Create(std::move(*xml)) : nullptr;
}

Boolean CFPropertyListIsValid(CFPropertyListRef property_list, CFPropertyListFormat format) {
  const bool is_known =
      format == kCFPropertyListXMLFormat_v1_0 || format == kCFPropertyListBinaryFormat_v1_0;
  return is_known && ValueOfObject(property_list);
}

}  // namespace orvik
