
#include "platform/core_foundation/collections.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "plist/events.h"

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
    case plist::Type::kInteger:
    case plist::Type::kReal:
    case plist::Type::kBoolean:
      return NSNumber::Create(value);
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

}  // namespace orvik
