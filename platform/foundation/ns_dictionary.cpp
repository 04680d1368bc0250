#include "platform/foundation/ns_dictionary.h"

#include <mutex>
#include <string>
#include <utility>

#include "platform/core_foundation/dictionary.h"
#include "platform/foundation/description.h"
#include "platform/foundation/element_release.h"
#include "platform/foundation/ns_string.h"
#include "platform/foundation/tree_equality.h"

namespace orvik {

namespace {

constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

// Up to this many entries a walk is as fast as a look-up.
constexpr std::size_t kWalked = 8;

// Makers of entries make deferred dictionaries, but look into none.
std::mutex deferral_mutex;

std::size_t Mix(CFHashCode hash) {
  const std::uint64_t mixed = hash * 0x9E3779B97F4A7C15u;
  return static_cast<std::size_t>(mixed ^ (mixed >> 32));
}

}  // namespace

NSDictionary* NSDictionary::Create(bool is_mutable, std::size_t capacity) {
  auto* dictionary = new NSDictionary(is_mutable);
  if (capacity > 0) dictionary->Rebuild(capacity);
  return dictionary;
}

NSDictionary* NSDictionary::CreateDeferred(bool is_mutable,
                                           std::shared_ptr<const DeferredContent> content) {
  auto* dictionary = new NSDictionary(is_mutable);
  dictionary->content_ = std::move(content);
  dictionary->is_deferred_.store(true, std::memory_order_relaxed);
  return dictionary;
}

std::shared_ptr<const NSDictionary::DeferredContent> NSDictionary::deferredContent() const {
  const std::lock_guard lock(deferral_mutex);
  return content_;
}

void NSDictionary::MakeDeferred() const {
  const std::lock_guard lock(deferral_mutex);
  if (!isDeferred()) return;
  content_->MakeEntries(const_cast<NSDictionary*>(this));
  content_.reset();
  is_deferred_.store(false, std::memory_order_release);
}

void NSDictionary::TakeEntries(const NSDictionary* made) {
  auto* const other = const_cast<NSDictionary*>(made);
  entries_.swap(other->entries_);
  slots_.swap(other->slots_);
  std::swap(count_, other->count_);
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
  const auto matches = [&](std::size_t index) {
    const Entry& entry = entries_[index];
    return entry.key != nullptr && entry.hash == hash &&
           (entry.key == key || entry.key->isEqual(key));
  };
  if (slots_.empty()) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (matches(i)) return i;
    }
    return kNowhere;
  }
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = Mix(hash) & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
    if (matches(slots_[slot] - 1)) return slots_[slot] - 1;
  }
  return kNowhere;
}

// Drops the places of removed entries and makes room for `capacity` entries.
void NSDictionary::Rebuild(std::size_t capacity) {
  std::erase_if(entries_, [](const Entry& entry) { return entry.key == nullptr; });
  entries_.reserve(capacity);
  slots_.clear();
  if (capacity <= kWalked) return;
  std::size_t slots = 16;
  while (slots < capacity + capacity / 2) slots *= 2;
  slots_.resize(slots);
  for (std::size_t i = 0; i < entries_.size(); ++i) Place(static_cast<std::uint32_t>(i));
}

void NSDictionary::Place(std::uint32_t entry) {
  if (slots_.empty()) return;
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = Mix(entries_[entry].hash) & mask;
  while (slots_[slot] != 0) slot = (slot + 1) & mask;
  slots_[slot] = entry + 1;
}

void NSDictionary::SetOwned(const NSObject* key, const NSObject* value) {
  const CFHashCode hash = key->hash();
  if (const std::size_t found = Find(key, hash); found != kNowhere) {
    key->release();
    std::exchange(entries_[found].value, value)->release();
    return;
  }
  const std::size_t room = slots_.empty() ? kWalked : slots_.size() / 3 * 2;
  if (entries_.size() >= room) Rebuild(count_ < room / 2 ? room : count_ * 2);
  entries_.push_back({key, value, hash});
  ++count_;
  Place(static_cast<std::uint32_t>(entries_.size() - 1));
}

NSObject* NSDictionary::objectForKey(const NSObject* key) const {
  Load();
  if (key == nullptr || count_ == 0) return nullptr;
  const std::size_t found = Find(key, key->hash());
  return found == kNowhere ? nullptr : const_cast<NSObject*>(entries_[found].value);
}

void NSDictionary::setObject(const NSObject* value, const NSObject* key) {
  if (!is_mutable_ || key == nullptr || value == nullptr) return;
  Load();
  const NSObject* own_key = key->copy();
  SetOwned(own_key != nullptr ? own_key : Retained(key), Retained(value));
}

void NSDictionary::removeObjectForKey(const NSObject* key) {
  if (!is_mutable_ || key == nullptr || count() == 0) return;
  const std::size_t found = Find(key, key->hash());
  if (found == kNowhere) return;
  // The slot goes on pointing at the place, so that look-ups pass over it.
  const Entry entry = std::exchange(entries_[found], {nullptr, nullptr, 0});
  --count_;
  entry.key->release();
  entry.value->release();
}

void NSDictionary::removeAllObjects() {
  if (!is_mutable_) return;
  Load();
  const std::vector<Entry> entries = std::exchange(entries_, {});
  slots_.clear();
  count_ = 0;
  for (const Entry& entry : entries) {
    if (entry.key != nullptr) {
      entry.key->release();
      entry.value->release();
    }
  }
}

CFTypeID NSDictionary::typeID() const {
  return CFDictionaryGetTypeID();
}

bool NSDictionary::isEqual(const NSObject* other) const {
  return AreEqualTrees(this, other);
}

const NSObject* NSDictionary::ValueOf(const NSObject* key, CFHashCode hash) const {
  Load();
  const std::size_t found = Find(key, hash);
  return found == kNowhere ? nullptr : entries_[found].value;
}

CFHashCode NSDictionary::hash() const {
  return static_cast<CFHashCode>(count());
}

NSDictionary* NSDictionary::CopyEntries(bool is_mutable) const {
  Load();
  NSDictionary* copy = Create(is_mutable);
  copy->entries_.reserve(count_);
  for (const Entry& entry : entries_) {
    if (entry.key != nullptr) {
      copy->entries_.push_back({Retained(entry.key), Retained(entry.value), entry.hash});
    }
  }
  copy->count_ = count_;
  copy->Rebuild(count_);
  return copy;
}

NSObject* NSDictionary::copy() const {
  return is_mutable_ ? CopyEntries(false) : const_cast<NSDictionary*>(Retained(this));
}

NSObject* NSDictionary::mutableCopy() const {
  return CopyEntries(true);
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

}  // namespace orvik
