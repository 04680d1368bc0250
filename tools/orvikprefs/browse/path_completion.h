// The completion of paths that are typed.
#pragma once

#include <string>

#include "platform/core_foundation/dictionary.h"

namespace orvik::prefstool::browse {

// The path ("/Software/OR") as far as all entries of the tree that begin so agree; with one entry
// its whole name, and a "/" behind a key. Names that hold a "/" are not offered.
std::string CompletedPath(CFDictionaryRef tree, const std::string& text);

}  // namespace orvik::prefstool::browse
