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
  // Returns the number and gives up ownership; the caller must close it.
  int Release() { return std::exchange(number_, -1); }
  // Closes the descriptor. False when that fails: a volume may report a lost write only here.
  bool Close() {
    const int number = std::exchange(number_, -1);
    return number < 0 || close(number) == 0;
  }

 private:
  int number_ = -1;
};

// The flags with which entries of folders are opened.

// For a folder of a tree. Does not follow a link.
inline constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// For a folder in which entries are made or looked up; it need not be readable. Follows a link.
inline constexpr int kOpenPlace = O_PATH | O_DIRECTORY | O_CLOEXEC;

// For an entry that is to be read. Does not follow a link and does not wait for the writer of a
// pipe.
inline constexpr int kOpenEntry = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Writes all of the bytes at the descriptor's position, or at `position` of a file. ENOSPC when the
// file accepts no more bytes. A failed call may have written a part; `done` (may be null) receives
// its size.
int WriteAll(int descriptor, std::string_view bytes);
int WriteAllAt(int file, std::string_view bytes, off_t position, std::size_t* done = nullptr);

// Reads `count` bytes from `position` of a file. `done` receives the number of bytes read, which is
// lower at the end of the file.
int ReadAt(int file, void* buffer, std::size_t count, off_t position, std::size_t* done);

// Reads up to `count` bytes from the position of a pipe, terminal or file, as read(2) does. Waits
// for at least one byte. `done` receives the number of bytes read, 0 at the end.
int ReadSome(int descriptor, void* buffer, std::size_t count, std::size_t* done);

// The size in bytes of the open file, from fstat(2); nothing when the descriptor is not open.
std::optional<std::uint64_t> SizeOf(int descriptor);
// The same; nothing also when `file` is not a regular file.
std::optional<std::uint64_t> SizeOfRegular(int file);

// Gives the text of the symbolic link `name` in the open folder (AT_FDCWD for the current folder).
// EINVAL when `name` is not a link, ENAMETOOLONG for a text of 4,096 bytes or more.
int ReadLink(int folder, const char* name, std::string* text);

// The path below /proc that leads this process to its open file (proc(5)).
std::string ProcPath(int descriptor);

// The absolute path that the kernel reports for an open file or folder; nothing for one without a
// path.
std::optional<std::string> PathOf(int descriptor);

// Whether `name` in the open folder is still this open file or folder.
bool HasName(int entry, int folder, const char* name);

// Whether the open folder has an entry `name`; a dangling link counts.
bool HasEntry(int folder, const char* name);

// Whether both are attributes of the same file, by device and inode.
inline bool IsSameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// The identity and state of a file, to find out whether it was replaced or changed.

struct FileIdentity {
  bool exists = false;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;      // bytes
  std::int64_t modified = 0;  // nanoseconds since 1970
  std::int64_t changed = 0;   // the last change of the inode, in nanoseconds since 1970

  bool operator==(const FileIdentity&) const = default;
};

FileIdentity IdentityOf(const struct stat& attributes);

// Follows links. For a file that cannot be examined the result says that it does not exist.
FileIdentity IdentityOf(const std::string& path);

// Whether the path leads, through links, to the open file of the descriptor.
bool IsOpenAs(int descriptor, const std::string& path);

// Opening of regular files only.
//
// Opening a device can act on it (a watchdog starts, a tape rewinds), and opening a pipe wakes a
// process that waits for a reader. So these functions examine the entry before they open it, and
// open exactly the entry that they have examined.

// openat for an existing regular file. `flags` is the access mode, with O_NOFOLLOW if the entry
// must not be a link. Empty, with errno, on failure: EISDIR for a folder, ELOOP for a link with
// O_NOFOLLOW, EINVAL for any other file that is not regular. Without /proc the file is opened by
// name; if another entry has the name by then, the call fails (EAGAIN).
Descriptor OpenRegular(int folder, const char* name, int flags);

// The same for a path of any length. Follows links.
Descriptor OpenRegular(const std::string& path, int flags);

// 0 for the mode of a regular file, otherwise the errno with which OpenRegular refuses it.
int RefusalOf(mode_t mode);

// Temporary files.

// Makes a file with mode 0600 that disappears with its last descriptor: it never has a name where
// the volume allows that, and elsewhere loses its name at once. None, with errno, on failure.
Descriptor MakeTemporaryFile(const std::string& folder);

// Whether the open file is a regular file of the caller and still has the name.
bool IsOwnFile(int file, int folder, const char* name);

}  // namespace host
}  // namespace orvik
