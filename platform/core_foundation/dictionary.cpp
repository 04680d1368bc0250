#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"

#include <string>
#include <utility>

#include "platform/core_foundation/object_support.h"
#include "platform/core_foundation/string.h"

namespace orvik {

namespace {

constexpr std::size_t kNowhere = plist::EntryIndex::kNowhere;

}  // namespace

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
  const ElementRelease release;
  for (const Entry& entry : entries_) {
    if (entry.key != nullptr) {
      entry.key->release();
      release(entry.value);
    }
  }
}

std::size_t NSDictionary::Find(const NSObject* key, CFHashCode hash) const {
  return index_.Find(entries_.size(), hash, [&](std::size_t at) {
    const Entry& entry = entries_[at];
    return entry.key != nullptr && entry.hash == hash &&
           (entry.key == key || entry.key->isEqual(key));
  });
}

// Drops the places of removed entries and makes room for `capacity` entries.
void NSDictionary::Rebuild(std::size_t capacity) {
  std::erase_if(entries_, [](const Entry& entry) { return entry.key == nullptr; });
  entries_.reserve(capacity);
  index_.Rebuild(capacity);
  for (std::size_t i = 0; i < entries_.size(); ++i) index_.Place(i, entries_[i].hash);
}

void NSDictionary::SetOwned(const NSObject* key, const NSObject* value) {
  const CFHashCode hash = key->hash();
  if (const std::size_t found = Find(key, hash); found != kNowhere) {
    key->release();
    std::exchange(entries_[found].value, value)->release();
    return;
  }
  const std::size_t room = index_.room();
  if (entries_.size() >= room) Rebuild(count_ < room / 2 ? room : count_ * 2);
  entries_.push_back({key, value, hash});
  ++count_;
  index_.Place(entries_.size() - 1, hash);
}

NSObject* NSDictionary::objectForKey(const NSObject* key) const {
  Load();
  if (key == nullptr || count_ == 0) return nullptr;
  const std::size_t found = Find(key, key->hash());
  return found == kNowhere ? nullptr : const_cast<NSObject*>(entries_[found].value);
}

void NSDictionary::setObject(const NSObject* value, const NSObject* key) {
  if (!isMutable() || key == nullptr || value == nullptr) return;
  Load();
  const NSObject* own_key = key->copy();
  SetOwned(own_key != nullptr ? own_key : Retained(key), Retained(value));
}

void NSDictionary::removeObjectForKey(const NSObject* key) {
  if (!isMutable() || key == nullptr || count() == 0) return;
  const std::size_t found = Find(key, key->hash());
  if (found == kNowhere) return;
  // The slot goes on pointing at the place, so that look-ups pass over it.
  const Entry entry = std::exchange(entries_[found], {nullptr, nullptr, 0});
  --count_;
  entry.key->release();
  entry.value->release();
}

CFTypeID NSDictionary::typeID() const {
  return CFDictionaryGetTypeID();
}

CFHashCode NSDictionary::hash() const {
  return static_cast<CFHashCode>(count());
}

NSObject* NSDictionary::CopyObjects(CFOptionFlags options) const {
  auto* copy = new NSDictionary(options);
  copy->entries_ = Entries();
  copy->count_ = count_;
  copy->Rebuild(count_);
  for (const Entry& entry : copy->entries_) {
    entry.key->retain();
    entry.value->retain();
  }
  return copy;
}

const NSString* NSDictionary::description() const {
  Load();
  std::u16string text = u"{\n";
  for (const Entry& entry : entries_) {
    if (entry.key == nullptr) continue;
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

}  // namespace orvik
