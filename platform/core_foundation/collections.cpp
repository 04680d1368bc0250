
#include "platform/core_foundation/collections.h"

#include <mutex>

#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "plist/events.h"

namespace orvik {
namespace {

// Held while a collection makes its objects. Collections made meanwhile do not make theirs.
std::mutex deferral_mutex;

// Goes through the objects of a collection.
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

  // The next object, or null at the end, and its key; the key is null in an array.
  const NSObject* Next(const NSObject** key) {
    *key = nullptr;
    if (array_ != nullptr) return next_ < array_->size() ? (*array_)[next_++] : nullptr;
    if (next_ == entries_->size()) return nullptr;
    *key = (*entries_)[next_].key;
    return (*entries_)[next_++].value;
  }

  // The name of the object that Next returned last.
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
  // No value for a tree that a property list cannot hold.
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

  // The place where Make stopped, in the form of plist::Failure.
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

  // Adds the value in pieces, because it may be nested too deep at this place.
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

// Appends an object's description, with all lines but the first indented by one level.
void AppendDescription(std::u16string& text, const NSObject* object) {
  const NSString* description = object->description();
  if (description == nullptr) return;
  for (const char16_t unit : description->ToUnits()) {
    text += unit;
    if (unit == u'\n') text += u"    ";
  }
}

constexpr std::size_t kNowhere = plist::EntryIndex::kNowhere;

}  // namespace

// One level deep: a container inside gets its own value and makes its objects later.
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

NSEnumerator::NSEnumerator(std::vector<const NSObject*> objects) : objects_(std::move(objects)) {
  for (const NSObject* object : objects_) object->retain();
}

NSEnumerator::~NSEnumerator() {
  for (const NSObject* object : objects_) object->release();
}

NSObject* NSEnumerator::nextObject() {
  return next_ < objects_.size() ? const_cast<NSObject*>(objects_[next_++]) : nullptr;
}

NSArray* NSArray::Create() {
  return new NSArray(kCFPropertyListMutableContainers);
}

NSArray* NSArray::Create(plist::Value content, CFOptionFlags options) {
  return new NSArray(std::move(content), options);
}

void NSArray::MakeObjects(const plist::Value& content, CFOptionFlags options) {
  std::vector<Owned<const NSObject>> made;
  made.reserve(content.elements().size());
  for (const plist::Value& element : content.elements()) {
    if (const auto* object = ObjectOf(CreateObject(element, options))) made.emplace_back(object);
  }
  objects_.reserve(made.size());
  for (Owned<const NSObject>& object : made) objects_.push_back(object.release());
}

NSArray* NSArray::arrayWithCapacity(CFIndex) {
  return Autoreleased(Create());
}

NSArray::~NSArray() {
  for (const NSObject* object : objects_) object->release();
}

NSEnumerator* NSArray::objectEnumerator() const {
  return Autoreleased(new NSEnumerator(Objects()));
}

void NSArray::addObject(const NSObject* object) {
  if (!isMutable() || object == nullptr) return;
  Load();
  objects_.push_back(object);
  object->retain();
}

NSObject* NSArray::CopyObjects(CFOptionFlags options) const {
  auto* copy = new NSArray(options);
  copy->objects_ = Objects();
  for (const NSObject* object : copy->objects_) object->retain();
  return copy;
}

const NSString* NSArray::description() const {
  std::u16string text = u"(\n";
  for (const NSObject* object : Objects()) {
    text += u"    ";
    AppendDescription(text, object);
    text += u",\n";
  }
  text += u")";
  return NSString::stringWithCharacters(text);
}

CFTypeID CFArrayGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

NSDictionary* NSDictionary::Create() {
  return new NSDictionary(kCFPropertyListMutableContainers);
}

NSDictionary* NSDictionary::Create(plist::Value content, CFOptionFlags options) {
  return new NSDictionary(std::move(content), options);
}

void NSDictionary::MakeObjects(const plist::Value& content, CFOptionFlags options) {
  Rebuild(content.count());
  for (const auto& entry : content.entries()) {
    Owned<const NSObject> key(NSString::NewFromValue(entry.key));
    Owned<const NSObject> value(ObjectOf(CreateObject(entry.value, options)));
    if (key && value) SetOwned(key.release(), value.release());
  }
}

NSDictionary* NSDictionary::dictionary() {
  return Autoreleased(Create());
}

NSDictionary::~NSDictionary() {
  for (const Entry& entry : entries_) {
    entry.key->release();
    entry.value->release();
  }
}

std::size_t NSDictionary::Find(const NSObject* key, CFHashCode hash) const {
  return index_.Find(entries_.size(), hash, [&](std::size_t at) {
    const Entry& entry = entries_[at];
    return entry.hash == hash && entry.key->isEqual(key);
  });
}

void NSDictionary::Rebuild(std::size_t capacity) {
  entries_.reserve(capacity);
  index_.Rebuild(capacity);
  for (std::size_t i = 0; i < entries_.size(); ++i) index_.Place(i, entries_[i].hash);
}

// An existing equal key stays, with its place in the order; `key` is then released.
void NSDictionary::SetOwned(const NSObject* key, const NSObject* value) {
  const CFHashCode hash = key->hash();
  if (const std::size_t found = Find(key, hash); found != kNowhere) {
    key->release();
    std::exchange(entries_[found].value, value)->release();
    return;
  }
  if (entries_.size() >= index_.room()) Rebuild(2 * entries_.size());
  entries_.push_back({key, value, hash});
  index_.Place(entries_.size() - 1, hash);
}

NSObject* NSDictionary::objectForKey(const NSObject* key) const {
  if (key == nullptr || count() == 0) return nullptr;
  const std::size_t found = Find(key, key->hash());
  return found == kNowhere ? nullptr : const_cast<NSObject*>(entries_[found].value);
}

void NSDictionary::setObject(const NSObject* value, const NSObject* key) {
  if (!isMutable() || key == nullptr || value == nullptr) return;
  Load();
  SetOwned(key->copy(), Retained(value));
}

NSObject* NSDictionary::CopyObjects(CFOptionFlags options) const {
  auto* copy = new NSDictionary(options);
  copy->entries_ = Entries();
  copy->Rebuild(copy->entries_.size());
  for (const Entry& entry : copy->entries_) {
    entry.key->retain();
    entry.value->retain();
  }
  return copy;
}

const NSString* NSDictionary::description() const {
  std::u16string text = u"{\n";
  for (const Entry& entry : Entries()) {
    text += u"    ";
    AppendDescription(text, entry.key);
    text += u" = ";
    AppendDescription(text, entry.value);
    text += u";\n";
  }
  text += u"}";
  return NSString::stringWithCharacters(text);
}

CFTypeID CFDictionaryGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
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
