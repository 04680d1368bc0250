// What arrays and dictionaries share: releasing and describing nested containers, which
// may be deeper than the stack of a small thread allows.
#pragma once

#include <string>
#include <vector>

#include "platform/core_foundation/object.h"

namespace orvik {

// Lives while a container releases its elements. Below the first few containers inside one another
// the elements wait on a list until the outermost one is done, so that destruction does not recurse
// any further.
class ElementRelease {
 public:
  ElementRelease();
  ~ElementRelease();
  ElementRelease(const ElementRelease&) = delete;
  ElementRelease& operator=(const ElementRelease&) = delete;

  void operator()(const NSObject* element) const;

 private:
  ElementRelease* outermost_;
  bool is_deep_;
  mutable std::vector<const NSObject*> waiting_;  // of the outermost
};

// Appends an object's description, its further lines indented by one level.
void AppendDescription(std::u16string& text, const NSObject* object);

}  // namespace orvik
