// How much room a folder takes.
#pragma once

#include <cstdint>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The bytes that the file or folder has allocated with all that it holds, as du(1) counts them: a
// file of several names once, links not followed. What cannot be read counts nothing.
std::uint64_t DiskUsage(const std::string& path);

}  // namespace host
}  // namespace orvik
