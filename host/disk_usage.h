// How much room a folder takes, and how much it holds.
#pragma once

#include <cstdint>
#include <string>

#include "host/descriptor.h"
#include "host/monitor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The bytes that the file or folder has allocated with all that it holds, as du(1) counts them: a
// file of several names once, links not followed. What cannot be read counts nothing.
std::uint64_t DiskUsage(const std::string& path);

// What a folder holds, at every depth.
struct TreeSize {
  std::uint64_t folders = 0;
  std::uint64_t others = 0;  // files, links, special files
  std::uint64_t bytes = 0;   // the sizes of the regular files, each name by itself
};

// Counts until the monitor (may be null) says stop. What cannot be read counts nothing.
TreeSize SizeOfTree(Descriptor folder, const Monitor* monitor);

}  // namespace host
}  // namespace orvik
