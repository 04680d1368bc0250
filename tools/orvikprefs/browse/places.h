// The scopes and domains beside the one that is shown, and who holds a lock.
#pragma once

#include <string>
#include <vector>

#include "strings/atl_string.h"
#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

inline constexpr int kScopes[] = {0, 1, 4};
// "shared", "user" or "machine"; of any scope.
const char* ScopeName(int scope);

struct Place {
  int scope;
  CAtlString domain;
  Value value;  // what is at the path there
};
// Every scope and domain whose file has something at the path, by scope, then by name. A file that
// cannot be read has nothing.
std::vector<Place> PlacesWith(const Path& path);

// Who holds the lock of a domain: "\"name\" (process 12 of alice)"; "" when nobody does.
std::string LockHolderText(int scope, const CAtlString& domain);

}  // namespace orvik::prefstool::browse
