// The identity of a file: whether it is still the one that was seen before.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

struct FileIdentity {
  bool exists = false;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;      // bytes
  std::int64_t modified = 0;  // nanoseconds since 1970
  std::int64_t changed = 0;   // of the inode, likewise

  bool operator==(const FileIdentity&) const = default;
};

FileIdentity IdentityOf(const struct stat& attributes);

// Follows links. Not existing when the file cannot be examined.
FileIdentity IdentityOf(const std::string& path);

}  // namespace host
}  // namespace orvik
