// Paths as a user of the browser reads and types them.
#pragma once

#include <string>

#include "platform/core_foundation/dictionary.h"
#include "tools/orvikprefs/differences.h"

namespace orvik::prefstool::browse {

// "/Software/ORVIK", with escapes for what must not reach a terminal.
std::string ShownPath(const Path& path);

// The path that a user typed; a leading "/" is of no meaning. Empty for the domain, and for what is
// no path.
Path TypedPath(std::string text);

// The path ("/Software/OR") as far as all entries of the tree that begin so agree; with one entry
// its whole name, and a "/" behind a key. Names that hold a "/" are not offered.
std::string CompletedPath(CFDictionaryRef tree, const std::string& text);

}  // namespace orvik::prefstool::browse
