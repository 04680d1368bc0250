// Where an object is no property list.
#pragma once

#include <optional>
#include <string>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

// The keys and indices that lead to a value that no property list can hold (null, an object of
// another kind, containers too deep), with "/" between them, in UTF-8; "" for the object itself.
// Nothing for a property list.
std::optional<std::string> FaultInPropertyList(CFTypeRef object);

}  // namespace orvik
