// Whole files: read at once, and replaced so that a reader sees either the old or the new content,
// never a part.
//
// How "<name>" in a folder is replaced, step by step, and what a crash of the process or of the
// machine leaves after each:
//
//   step  call                                     left after it
//   1     open(folder, O_TMPFILE)                  the old file
//   2     write, then fsync                        the old file
//   3     linkat(".<name>.orvik-<digits>")         the old file, and a staged one
//   4     renameat(".<name>.orvik-<digits>",       of the process: the new file;
//                  "<name>")                       of the machine: either, whole
//   5     fsync(folder)                            the new file
//
// - A new file gets its name directly: one link call, which replaces nothing, takes the place of
//   steps 3 and 4.
// - Flush::kNone leaves out both fsync calls. Step 4 then exchanges the two names and removes the
//   old file, because some volumes flush a new file that is renamed over an old one.
// - A volume without O_TMPFILE makes the staged file under its name (mode 0600 at most) in step 1.
// - The maker of a staged file holds a kernel lock on it. Step 1 of the next writer of "<name>"
//   removes unlocked ones of exactly this form (staged_file.h).
// - Where no new file can take the name, file_replacement.h writes into the old file.
//
// Functions that return an int return 0 or an errno. After a failure the old file is unchanged,
// with one exception: if the folder could not be flushed, the new content is in place but may be
// lost in a crash of the machine.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <string_view>

#include "host/descriptor.h"
#include "host/file_place.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

inline constexpr std::size_t kNoSizeLimit = static_cast<std::size_t>(-1);

// Reads the whole content of a regular file, without waiting for pipes and devices: EISDIR or
// EINVAL for other files, EFBIG for more than `limit` bytes. `identity`, unless null, receives the
// identity of the file at the time of exactly this content.
int ReadWholeFile(const std::string& path, std::string* content, FileIdentity* identity = nullptr,
                  std::size_t limit = kNoSizeLimit);

// A file that was read and is still open.
struct OpenedFile {
  Descriptor descriptor;  // none when the file could not be opened
  struct stat attributes = {};
  FileIdentity identity;
};

// The same for a place. Does not follow a link that was put there since. `access` is O_RDONLY, or
// O_RDWR for a file that is to be written, too.
int ReadWholeFile(const FilePlace& place, std::size_t limit, std::string* content,
                  OpenedFile* opened, int access = O_RDONLY);

enum class Flush {
  kToDisk,  // survives a crash of the machine: the file and its folder are flushed
  kNone,    // atomic for all processes; may be lost or empty after a crash of the machine
};

struct ReplaceResult {
  int error = 0;
  bool wrote = false;     // false also when the file already had the content
  FileIdentity identity;  // of the new file, after success
  std::string obstacle;   // the path of a link or of another user's file that was refused
};

enum class ReadOnly {
  kRefuse,   // EACCES for a file that the caller may not write, as with open
  kReplace,  // replaces a read-only file of the caller, which stays read-only
};

// What to do with an existing file.
enum class Present {
  kReplace,  // a new file takes the name
  kRefuse,   // EEXIST
};

struct ReplaceOptions {
  Flush flush = Flush::kToDisk;  // kNone with kRefuse
  Present present = Present::kReplace;
  ReadOnly read_only = ReadOnly::kRefuse;
};

// Makes the file hold the content. The file's folder must exist. This table lists the options of
// every caller and the properties that the old file keeps:
//
//   front                        flush  read-only  present              stays of the old file
//   preference files, exports,   disk   refused    replaced             mode, owner, attributes
//     NSData
//   configuration store          disk   replaced   replaced             mode, owner, attributes
//   SupersedeFile (damaged)      disk   replaced   replaced             nothing
//   shortcuts, new exports       none   -          refused (EEXIST)     -
//   the sizes of a trash         none   refused    replaced             mode, owner, attributes
//   WriteWholeFile, streams,     none   refused    replaced, or         as in this column
//     Base64                                       written into (*)
//
// (*) file_replacement.h says when.
//
// With Present::kReplace:
// - A file that already has the content is not touched.
// - An existing file keeps its mode and, as far as the caller may set them, its owner, group and
//   extended attributes. Its other hard links keep the old content. A new file has mode 0666 less
//   the umask and follows its folder (file_place.h).
// - A symbolic link that may be followed (trust.h) stays, and its target is replaced or made; any
//   other link is EPERM. A file that another user may have prepared is EACCES.
// - A file that is a mount point itself cannot be replaced: it stays as it is, and the error is
//   EBUSY.
// - Files that are not regular are EISDIR or EINVAL.
ReplaceResult ReplaceFile(const std::string& path, std::string_view content,
                          const ReplaceOptions& options = {});

// Writes the content into a pipe, a terminal or another device at the path; waits for the reader of
// a pipe. Follows links as ReplaceFile does, except the names of this process's own descriptors
// ("/dev/stdout", "/dev/fd/3"), which only the kernel can follow. Fails as ReplaceFile does: EPERM
// and EACCES come with the obstacle.
ReplaceResult WriteToSpecialFile(const std::string& path, std::string_view content);

// Replaces the file that ReadWholeFile opened, or makes the file if ReadWholeFile found none:
// EEXIST if another process has made one since, which is not replaced.
ReplaceResult ReplaceFile(const FilePlace& place, std::string_view content, Flush flush,
                          const OpenedFile& old);

// Replaces a file that is kept elsewhere. The file need be neither readable nor writable, and the
// new file takes no properties from it.
ReplaceResult SupersedeFile(const FilePlace& place, std::string_view content);

// Opens a regular file or a character device for writing in place, with the flags of open(2):
// O_CREAT (mode 0666 less the umask), O_EXCL, O_APPEND and O_TRUNC among them. Follows links and
// opens existing files as trust.h allows; otherwise EPERM or EACCES, and nothing is truncated.
// EISDIR and EINVAL for other kinds of files. None, with errno, on failure.
Descriptor OpenForOutput(const std::string& path, int flags);

// Flushes the open file and its name to disk, the name at once or at the end of a FolderFlushDelay.
// 0 or an errno.
int FlushFile(int file, const FilePlace& place);

// Delays the flushing of folders until its end, for a series of changes. Every file that this
// thread replaces meanwhile is itself flushed before it takes its place, so that a crash leaves the
// old or the new file; its folder is flushed once. Objects may be nested; the outermost one
// flushes.
class FolderFlushDelay {
 public:
  FolderFlushDelay();
  ~FolderFlushDelay();
  FolderFlushDelay(const FolderFlushDelay&) = delete;
  FolderFlushDelay& operator=(const FolderFlushDelay&) = delete;

  // Ends the delay before the destructor does: 0 when all folders are on disk (or an outer delay
  // continues), otherwise the first error.
  int Finish();

 private:
  bool is_finished_ = false;
};

}  // namespace host
}  // namespace orvik
