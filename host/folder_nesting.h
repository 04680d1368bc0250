// Whether one folder lies in another.
#pragma once

#include <sys/stat.h>

#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Whether the folder at `path`, which need not exist, is the one at `folder` or would lie in it,
// links and other names of the same folder taken into account. Paths may be of any length. ".." of
// what does not exist is taken away with the component before it. Also true when it cannot be found
// out.
bool LiesInFolder(const std::string& path, const std::string& folder);

// The same for an open folder, and one whose attributes are known.
bool LiesInFolder(int open_folder, const struct stat& folder);

}  // namespace host
}  // namespace orvik
