// Replacing a file by content that is written piece by piece.
//
// The content is collected in a private file, beside the target where that can be; the target keeps
// its old content until the commit. What is not committed is gone with the object, and leaves
// nothing behind when the process is killed.
//
// Of an existing target stay: mode, owner, group, extended attributes, its other hard links, and
// the symbolic links that lead to it. Where a new file could not have all of that (it has other
// names, or the owner cannot be given), for a character device, for a file that is a mount point
// itself, and in a folder that takes no new file, the commit writes into the target itself. A
// reader may then see a part, and a crash may leave one; a full disk is found before the old
// content is touched, where the volume can reserve room. A new file has mode 0666 less the umask
// and belongs to the caller, also in another user's folder.
//
// Nothing is flushed to disk. Failures are error numbers of Linux; 0 is success.
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

  // Begins to replace the file, following links of root and of the caller, and others in a folder
  // that no other user can change (EPERM elsewhere). EACCES when the caller may not write it, or
  // another user may have prepared it; EISDIR and EINVAL for what is neither a regular file nor a
  // character device. `spare_folder` takes the content when the target's own folder
  // cannot; memory takes it when neither can.
  int Open(const std::string& path, const std::string& spare_folder);

  // Whether the file is a character device.
  bool is_device() const;

  // Appends to the new content.
  int Write(std::string_view bytes);
  // Reads back from the new content: how many bytes were read, 0 at its end and on failure.
  std::size_t Read(void* buffer, std::size_t count, std::uint64_t position) const;

  // Makes the content the target's. On failure the target is as it was, unless writing into it has
  // begun.
  int Commit();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace host
}  // namespace orvik
