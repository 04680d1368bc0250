// Comparing trees of arrays and dictionaries without recursion: they may be deeper than the stack
// of a small thread allows.
#pragma once

#include "platform/foundation/object.h"

namespace orvik {

// Whether arrays hold the same elements in the same order, and dictionaries the same values under
// the same keys, at any depth. `same_leaves` compares everything else; the
// default is isEqual.
bool AreEqualTrees(const NSObject* one, const NSObject* other,
                   bool (*same_leaves)(const NSObject* one, const NSObject* other) = nullptr);

}  // namespace orvik
