// The system volume, the user's home and the system log on this machine.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The paths of the system volume and of the user's home.
//
// Paths are bytes and end without "/", unless said otherwise.

// The folder that serves as the system volume: the environment variable ORVIK_SYSTEM_ROOT (a
// relative path starts at the current folder), otherwise "" (the machine's own root).
std::string SystemRoot();

// Moves an absolute path that the system itself names, such as "/Users/Shared", below the system
// root. Call this for every such path in code. Folders from FSFindFolder are already moved.
std::string SystemPath(std::string_view path);

// The single rule for absolute paths that come from callers. A path in "/Library" or
// "/Users/Shared" belongs to the system volume and is moved below the root, unless it already lies
// below the root. Every other path stays as it is. Every layer calls this where a path becomes one
// on disk: the file manager, NSData, references from paths, and the path values of the layers
// above.
std::string ResolvePath(std::string_view path);

// The environment variable HOME when it holds an absolute path, else the home in the password
// database, else "/".
std::string HomeFolder();

// As root: whether another user owns `folder`, or the nearest existing folder above it, so that
// this user could take files which root makes there. False for every other caller.
bool BelongsToAnotherUser(const std::string& folder);

// The home for private files of the caller, such as a trash. This is HomeFolder(), except when root
// has the home of another user (sudo may keep HOME): then it is root's home in the password
// database, otherwise "/".
std::string OwnHomeFolder();

// A user's entry in the password database (getpwuid_r(3)); nothing for an unknown number.
struct User {
  std::string name;
  std::string home;
};
std::optional<User> FindUser(uid_t number);

// The environment variable TMPDIR when it holds an absolute path, else "/tmp".
std::string TemporaryFolder();

// Makes a folder and all missing parents (mode 0777 less the umask): 0, or an errno. An existing
// folder counts as success.
int MakeFolders(const std::string& path);

// The system log.

// Sends one line to the system log (syslog(3), `priority` as there), verbatim and with nothing
// added: a "%" is an ordinary character. The line ends at its first NUL. When the environment
// variable ORVIK_LOG_STDERR is "1", the line also goes to standard error, made safe to show
// (Escaped in text/shown_text.h), with a line feed. A line that cannot be written is dropped and
// never stops the program.
void SystemLog(int priority, std::string_view line);

}  // namespace host
}  // namespace orvik
