// Releasing the elements of containers that may be nested deeper than the stack of a small thread
// allows.
#pragma once

#include <vector>

#include "platform/foundation/object.h"

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

}  // namespace orvik
