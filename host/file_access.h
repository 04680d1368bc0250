// Asks beforehand whether a file could be saved.
#pragma once

#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Whether this process may replace the file, or make it with the folders it needs: 0, or the error
// number of what prevents it. Nothing is changed; the answer can be out of date at once.
int ReplaceAccess(const std::string& path);

}  // namespace host
}  // namespace orvik
