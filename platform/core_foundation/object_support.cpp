
#include "platform/core_foundation/object_support.h"

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

void AppendDescription(std::u16string& text, const NSObject* object) {
  const NSString* description = object->description();
  if (description == nullptr) return;
  for (const char16_t unit : description->ToUnits()) {
    text += unit;
    if (unit == u'\n') text += u"    ";
  }
}

}  // namespace orvik
