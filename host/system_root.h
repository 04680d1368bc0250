// Where the system volume and the user's home lie on this machine.
//
// Paths are bytes and end without "/", unless said otherwise.
#pragma once

#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The folder that is used as the system volume: the environment variable ORVIK_SYSTEM_ROOT (a
// relative path counts from the current folder), else "" (the machine's own root).
std::string SystemRoot();

// An absolute path that the system itself names, such as "/Users/Shared", moved below the system
// root. Whoever spells such a path in code calls this; folders found with FSFindFolder are moved
// already.
std::string SystemPath(std::string_view path);

// The one rule for absolute paths that come from callers: a path in "/Library" or "/Users/Shared"
// is the system volume's and is moved below the root, unless it lies below the root already. Every
// other path is meant as it is. Applied wherever a path becomes one on disk: by the file manager,
// NSData, references from paths, and the path values of the layers above.
std::string ResolvePath(std::string_view path);

// The environment variable HOME when it holds an absolute path, else the home in the password
// database, else "/".
std::string HomeFolder();

// The environment variable TMPDIR when it holds an absolute path, else "/tmp".
std::string TemporaryFolder();

// Makes a folder with all missing parents (mode 0777 less the umask): 0, or an error number. A
// folder that exists is success.
int MakeFolders(const std::string& path);

}  // namespace host
}  // namespace orvik
