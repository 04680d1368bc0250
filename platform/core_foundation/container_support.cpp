#include "platform/core_foundation/container_support.h"

#include <new>
#include <utility>
#include <vector>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/string.h"

namespace orvik {

namespace {

constexpr int kDepthOnStack = 32;

thread_local int depth = 0;
thread_local ElementRelease* outermost = nullptr;

class TreeComparison {
 public:
  bool Run(const NSObject* one, const NSObject* other) {
    if (!Take(one, other)) return false;
    while (!open_.empty()) {
      const auto [a, b] = open_.back();
      open_.pop_back();
      const bool is_array = a->typeID() == CFArrayGetTypeID();
      if (!(is_array ? TakeElements(static_cast<const NSArray*>(a), static_cast<const NSArray*>(b))
                     : TakeEntries(static_cast<const NSDictionary*>(a),
                                   static_cast<const NSDictionary*>(b)))) {
        return false;
      }
    }
    return true;
  }

 private:
  // Compares leaves, and keeps containers for later.
  bool Take(const NSObject* one, const NSObject* other) {
    if (one == other) return true;
    if (one == nullptr || other == nullptr) return false;
    const CFTypeID type = one->typeID();
    if (type != CFArrayGetTypeID() && type != CFDictionaryGetTypeID()) {
      return one->isEqual(other);
    }
    if (other->typeID() != type) return false;
    open_.emplace_back(one, other);
    return true;
  }

  bool TakeElements(const NSArray* one, const NSArray* other) {
    const auto& elements = one->Objects();
    const auto& others = other->Objects();
    if (elements.size() != others.size()) return false;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      if (!Take(elements[i], others[i])) return false;
    }
    return true;
  }

  bool TakeEntries(const NSDictionary* one, const NSDictionary* other) {
    if (one->count() != other->count()) return false;
    for (const NSDictionary::Entry& entry : one->Entries()) {
      if (entry.key == nullptr) continue;
      if (!Take(entry.value, other->ValueOf(entry.key, entry.hash))) return false;
    }
    return true;
  }

  std::vector<std::pair<const NSObject*, const NSObject*>> open_;
};

}  // namespace

ElementRelease::ElementRelease() : is_deep_(depth > kDepthOnStack) {
  if (depth++ == 0) outermost = this;
  outermost_ = outermost;
}

ElementRelease::~ElementRelease() {
  // Those that wait may put others there.
  while (outermost_ == this && !waiting_.empty()) {
    const NSObject* element = waiting_.back();
    waiting_.pop_back();
    element->release();
  }
  --depth;
}

void ElementRelease::operator()(const NSObject* element) const {
  if (is_deep_) {
    try {
      outermost_->waiting_.push_back(element);
      return;
    } catch (const std::bad_alloc&) {
      // Recursion needs no memory.
    }
  }
  element->release();
}

bool AreEqualTrees(const NSObject* one, const NSObject* other) {
  return TreeComparison().Run(one, other);
}

void AppendDescription(std::u16string& text, const NSObject* object) {
  const NSString* description = object->description();
  if (description == nullptr) return;
  for (const char16_t unit : description->ToUnits()) {
    text += unit;
    if (unit == u'\n') text += u"    ";
  }
}

}  // namespace orvik
