// How messages name keys and values.
#pragma once

#include <string>

#include "tools/orvikprefs/grammar.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

// A path between double quotes, or as the JSON array that names it, in harmless characters.
std::string QuotedPath(const Path& path);

// key "Software/App", key ["a/b"], or: the domain's top level
std::string KeyText(const KeyPath& key);
// "Count" in key "Software/App"
std::string ValueAddress(const KeyPath& key, const CAtlString& name);

// The KEY and NAME at these arguments of a line. The grammar lets only UTF-8 through.
KeyPath KeyAt(const CommandLine& line, std::size_t index = 0);
CAtlString NameAt(const CommandLine& line, std::size_t index = 1);

}  // namespace orvik::prefstool
