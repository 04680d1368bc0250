// The system volume, the user's home and the system log on this machine.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Where the system volume and the user's home lie on this machine.
//
// Paths are bytes and end without "/", unless said otherwise.

// The folder that is used as the system volume: the environment variable ORVIK_SYSTEM_ROOT (a
// relative path counts from the current folder), else "" (the machine's own root).
std::string SystemRoot();

// An absolute path that the system itself names, such as "/Users/Shared", moved below the system
// root. Call this for every such path in code; folders found with FSFindFolder are moved
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

// Whether root would put `folder`, or the nearest folder above it that exists, into the hands of
// another user, who owns it. False for every other caller.
bool BelongsToAnotherUser(const std::string& folder);

// The home for files of the caller alone, such as a trash. This is HomeFolder(), except when root
// has the home of another user (a HOME that sudo has kept): then it is root's home in the password
// database, else "/".
std::string OwnHomeFolder();

// An entry of the password database (getpwuid_r(3)); nothing when it has none of the number.
struct User {
  std::string name;
  std::string home;
};
std::optional<User> FindUser(uid_t number);

// The environment variable TMPDIR when it holds an absolute path, else "/tmp".
std::string TemporaryFolder();

// Makes a folder with all missing parents (mode 0777 less the umask): 0, or an error number. A
// folder that exists is success.
int MakeFolders(const std::string& path);

// The system log.

// Sends one line to the system log (syslog(3), `priority` as there), verbatim and with nothing
// added: a "%" is an ordinary character. The line ends at its first NUL. When the environment
// variable ORVIK_LOG_STDERR is "1" the line goes to standard error as well, as one line that is
// safe to show (Escaped in text/shown_text.h), with a line feed. A line that cannot be written is
// dropped; it never stops the program.
void SystemLog(int priority, std::string_view line);

}  // namespace host
}  // namespace orvik
