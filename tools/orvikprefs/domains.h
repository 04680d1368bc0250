// The domains that have a file in a scope.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvik::prefstool {

struct DomainFile {
  std::string name;
  std::string file;
  std::uintmax_t size;  // in bytes
};

// In the order of their names' bytes. Files that lie beside a preference file without being one
// (the lock records, what repair kept) are left out. A folder that cannot be read holds none.
std::vector<DomainFile> DomainsOf(int scope);

}  // namespace orvik::prefstool
