// The text of a container's elements for "%@".
#pragma once

#include <string>

#include "platform/foundation/object.h"

namespace orvik {

// Appends an object's description, its further lines indented by one level.
void AppendDescription(std::u16string& text, const NSObject* object);

}  // namespace orvik
