// Descriptors: owning, opening, reading and writing them, and the identity of a file.
//
// Functions that return an int return 0 or an errno. Calls that a signal interrupts are repeated.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// An owned file descriptor.

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  // Gives the number up; the caller closes it.
  int Release() { return std::exchange(number_, -1); }
  // Closes now; false when that fails. A volume may report a lost write only here.
  bool Close() {
    const int number = std::exchange(number_, -1);
    return number < 0 || close(number) == 0;
  }

 private:
  int number_ = -1;
};

// The flags with which entries of folders are opened.

// A folder of a tree: never through a link.
inline constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// A folder to work in, which need not be readable; a link to one is followed.
inline constexpr int kOpenPlace = O_PATH | O_DIRECTORY | O_CLOEXEC;

// An entry to be read: never through a link, and without waiting for a pipe.
inline constexpr int kOpenEntry = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Writes all of the bytes at the descriptor's position, or at `position` of a file. ENOSPC when the
// file takes no more. After a failure a part may be written; `done` (may be null) says how much.
int WriteAll(int descriptor, std::string_view bytes);
int WriteAllAt(int file, std::string_view bytes, off_t position, std::size_t* done = nullptr);

// Reads `count` bytes from `position` of a file; `done` receives how many there were before its
// end.
int ReadAt(int file, void* buffer, std::size_t count, off_t position, std::size_t* done);

// Reads at most `count` bytes that a pipe, terminal or file has at its position, as read(2) does:
// `done` receives how many, 0 at its end. Waits until there is one.
int ReadSome(int descriptor, void* buffer, std::size_t count, std::size_t* done);

// The size in bytes of the open file, as fstat(2) gives it; nothing for a descriptor not open.
std::optional<std::uint64_t> SizeOf(int descriptor);
// Nothing also for anything but a regular file.
std::optional<std::uint64_t> SizeOfRegular(int file);

// Gives the text of the symbolic link `name` in the open folder (AT_FDCWD for the current one):
// EINVAL for anything else, ENAMETOOLONG for a text of 4,096 bytes and more.
int ReadLink(int folder, const char* name, std::string* text);

// The path below /proc under which this process finds what it has open (proc(5)).
std::string ProcPath(int descriptor);

// The absolute path that the kernel knows for an open file or folder; nothing when it has none.
std::optional<std::string> PathOf(int descriptor);

// Whether the open file or folder still has the name in the folder.
bool HasName(int entry, int folder, const char* name);

// Whether anything has the name in the open folder, a dangling link too.
bool HasEntry(int folder, const char* name);

// Whether both are attributes of one file, by device and inode.
inline bool IsSameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// The identity of a file: whether it is still the one that was seen before.

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

// Whether the path leads, through links, to what the descriptor has open.
bool IsOpenAs(int descriptor, const std::string& path);

// Opens regular files and nothing else.
//
// To open a device can act on it (a watchdog starts, a tape rewinds), and to open a pipe lets a
// process go on that waits for a reader. So what has the name is looked at before it is opened, and
// nothing can take its place between the two.

// openat for a regular file that exists: `flags` is the access, and O_NOFOLLOW for an entry that
// must not be a link. Empty, with errno, on failure: EISDIR for a folder, ELOOP for a link that is
// not followed, EINVAL for anything else that is not a regular file. Without /proc the file is
// opened by its name, and given up when another has the name by then (EAGAIN).
Descriptor OpenRegular(int folder, const char* name, int flags);

// The same for a path of any length, whose links are followed.
Descriptor OpenRegular(const std::string& path, int flags);

// 0 for a regular file; otherwise the error number above.
int RefusalOf(mode_t mode);

// Temporary files.

// Makes a file for its owner only (mode 0600) that no process leaves: it never has a name, where
// the volume can do that, or loses it at once. None, with errno, when that fails.
Descriptor MakeTemporaryFile(const std::string& folder);

// Whether the open file is a regular one of the caller's and still has the name.
bool IsOwnFile(int file, int folder, const char* name);

}  // namespace host
}  // namespace orvik
