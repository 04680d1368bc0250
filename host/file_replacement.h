// Replacement of a file by content that is written piece by piece.
//
// The new content is collected in a private file, beside the target if possible; the target keeps
// its old content until the commit. Content that is not committed disappears with the object, even
// when the process is killed.
//
// An existing target keeps its mode, owner, group, extended attributes, other hard links, and the
// symbolic links that lead to it. In some cases a new file cannot take its place with all of these:
// the target has other names, its owner cannot be set, it is a character device or a mount point,
// or its folder accepts no new file. Then the commit writes into the target itself; but root
// replaces a file with several names where another user could have made them. A reader of a target
// that is written in place may see a part, and a crash may leave a part; a full disk is detected
// before the old content is touched, if the volume can reserve room. A new file has mode 0666 less
// the umask and belongs to the caller, also in another user's folder.
//
// Nothing is flushed to disk. Functions that return an int return 0 or an errno.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

class FileReplacement {
 public:
  FileReplacement();
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // Begins to replace the file. Follows links of root and of the caller, and other links in a
  // folder that no other user can change (EPERM elsewhere). EACCES when the caller may not write
  // the file, and for a file of a third user in a sticky folder that everyone may write. EISDIR for
  // a folder; EINVAL for other files that are neither regular nor character devices. If the
  // target's own folder accepts no new file, the content is collected in `spare_folder`, and if
  // that fails, in memory.
  int Open(const std::string& path, const std::string& spare_folder);

  // Whether the file is a character device.
  bool is_device() const;

  // Appends to the new content.
  int Write(std::string_view bytes);
  // Reads back from the new content. Returns the number of bytes read, 0 at its end and on failure.
  std::size_t Read(void* buffer, std::size_t count, std::uint64_t position) const;

  // Gives the target the new content. After a failure the target is unchanged, unless the commit
  // had begun to write into it.
  int Commit();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace host
}  // namespace orvik
