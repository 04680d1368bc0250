// Property lists that are dictionaries.
#pragma once

#include <string_view>

#include "plist/forms.h"

namespace orvik::fuzz {

// The dictionary that the bytes hold; no value when they hold none.
inline plist::Value Entries(std::string_view bytes) {
  plist::Value root = plist::Read(bytes).root;
  return root.is_dictionary() ? root : plist::Value();
}

}  // namespace orvik::fuzz
