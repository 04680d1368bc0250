// Whole files: read at once, and replaced so that a reader sees the old content or the new one,
// never a part.
//
// Replacing writes a file without a name on the same volume, flushes it, gives it a name beside the
// target and renames it over the target. A process that is killed before the name is given leaves
// nothing; one that is killed between the name and the rename leaves ".<name>.orvik-<n>", which the
// next one to replace the same target removes (staged_file.h).
//
// Failures are error numbers of Linux; 0 is success. After a failure the old file is as it was,
// except when the folder could not be flushed: then the new content stands, but may not outlive a
// crash of the machine.
#pragma once

#include <string>
#include <string_view>

#include "host/file_identity.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The whole content of a regular file (EISDIR or EINVAL for anything else), without waiting for
// pipes and devices. `identity`, unless null, is that of the very content that was read.
int ReadWholeFile(const std::string& path, std::string* content, FileIdentity* identity = nullptr);

enum class Flush {
  kToDisk,  // outlives a crash of the machine: the file and its folder are flushed
  kNone,    // old or new for every process; lost, or empty, after a crash of the machine
};

struct ReplaceResult {
  int error = 0;
  bool wrote = false;     // false also when the content was there already
  FileIdentity identity;  // of the file afterwards, on success
};

// Makes the file hold the content. The file's folder must exist.
//
// - A file that holds the content already is not touched.
// - A new file takes its properties from the model, if there is one, as it would from an old one.
// - Of an existing file the mode, and the owner, group and extended attributes as far as the rights
//   allow, are kept; its other hard links keep the old content. A new file has mode 0666 less the
//   umask.
// - A symbolic link stays, and what it points to is replaced or made.
// - A file that the caller may not write is EACCES, as it would be for open; what is no regular
//   file is EISDIR or EINVAL.
ReplaceResult ReplaceFile(const std::string& path, std::string_view content,
                          Flush flush = Flush::kToDisk, const std::string& model = {});

// The same, in the place of a file that need be neither readable nor writable and is kept
// elsewhere: nothing is taken from it, and the new file has mode 0666 less the umask.
ReplaceResult SupersedeFile(const std::string& path, std::string_view content);

// Makes a file, which is whole from the first moment on, with mode 0666 less the umask and without
// flushing: 0 or an error number, EEXIST when something stands there.
int CreateFile(const std::string& path, std::string_view content);

// Makes the file hold the content by writing into it, following links: 0 or an error number, after
// which the file may hold a part.
int WriteInPlace(const std::string& path, std::string_view content);

// Puts off the flushing of folders to its end, for a run of changes that is to be on disk as a
// whole: every file that this thread replaces meanwhile is itself flushed before it takes its
// place, so that a crash leaves it old or new, and its folder is flushed once. Objects nest; the
// outermost one counts.
class FolderFlushDelay {
 public:
  FolderFlushDelay();
  ~FolderFlushDelay();
  FolderFlushDelay(const FolderFlushDelay&) = delete;
  FolderFlushDelay& operator=(const FolderFlushDelay&) = delete;
};

}  // namespace host
}  // namespace orvik
