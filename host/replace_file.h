// Whole files: read at once, and replaced so that a reader sees the old content or the new one,
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
// - A new file is linked to its name at once, so that steps 3 and 4 are one that replaces nothing.
// - Flush::kNone leaves out both fsync. Step 4 then exchanges the two names and removes the old
//   file: some volumes would write the new one out at a rename over a file.
// - A volume without O_TMPFILE makes the staged file under its name (mode 0600 at most) in step 1.
// - The maker of a staged file holds a kernel lock on it. Step 1 of the next writer of "<name>"
//   removes unlocked ones of exactly this form (staged_file.h).
// - Where no new file can take the name, file_replacement.h writes into the old one.
//
// Failures are error numbers of Linux; 0 is success. After a failure the old file is as it was,
// except when the folder could not be flushed: then the new content is there, but may not outlive a
// crash of the machine.
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

// The whole content of a regular file (EISDIR or EINVAL for anything else, EFBIG for more bytes
// than the limit), without waiting for pipes and devices. `identity`, unless null, is that of the
// very content that was read.
int ReadWholeFile(const std::string& path, std::string* content, FileIdentity* identity = nullptr,
                  std::size_t limit = kNoSizeLimit);

// A file that was read and is still open.
struct OpenedFile {
  Descriptor descriptor;  // none when the file could not be opened
  struct stat attributes = {};
  FileIdentity identity;
};

// The same below an open folder. A link that has meanwhile been put there is not followed. The
// access is O_RDONLY, or O_RDWR for a file that is to be written, too.
int ReadWholeFile(const FilePlace& place, std::size_t limit, std::string* content,
                  OpenedFile* opened, int access = O_RDONLY);

enum class Flush {
  kToDisk,  // outlives a crash of the machine: the file and its folder are flushed
  kNone,    // old or new for every process; lost, or empty, after a crash of the machine
};

struct ReplaceResult {
  int error = 0;
  bool wrote = false;     // false also when the content was there already
  FileIdentity identity;  // of the file afterwards, on success
  std::string obstacle;   // a link or a file of another user that was refused
};

enum class ReadOnly {
  kRefuse,   // a file that the caller may not write is EACCES, as it would be for open
  kReplace,  // a file of the caller's without the right to write is replaced, and stays read-only
};

// The treatment of a file that exists.
enum class Present {
  kReplace,    // a new file takes its name
  kRefuse,     // EEXIST
  kWriteInto,  // it is emptied and written: it keeps all of its properties and hard links, and may
               // hold a part after a failure; only if it may be written into (trust.h)
};

struct ReplaceOptions {
  Flush flush = Flush::kToDisk;  // kNone with kRefuse and kWriteInto
  Present present = Present::kReplace;
  ReadOnly read_only = ReadOnly::kRefuse;
};

// Makes the file hold the content. The file's folder must exist. This is the one table of what the
// fronts pass and what stays of the old file:
//
//   front                        flush  read-only  present              stays of the old file
//   preference files, exports,   disk   refused    replaced             mode, owner, attributes
//     URLs, NSData "atomically"
//   configuration store          disk   replaced   replaced             mode, owner, attributes
//   SupersedeFile (damaged)      disk   replaced   replaced             nothing
//   NSData otherwise             none   refused    written into         everything, hard links too
//   shortcuts                    none   -          refused (EEXIST)     -
//   the sizes of a trash         none   refused    replaced             mode, owner, attributes
//   WriteWholeFile, streams,     none   refused    replaced, or         as in this column
//     Base64                                       written into (*)
//
// (*) file_replacement.h says when.
//
// With Present::kReplace:
// - A file that holds the content already is not touched.
// - Of an existing file the mode, and the owner, group and extended attributes as far as the rights
//   allow, are kept; its other hard links keep the old content. A new file has mode 0666 less the
//   umask and follows its folder (file_place.h).
// - A symbolic link that may be followed (trust.h) stays, and what it points to is replaced or
//   made; another is EPERM. A file that another user may have prepared is EACCES.
// - A file that is a mount point itself cannot be replaced: it stays as it is, and the error is
//   EBUSY.
// - Anything but a regular file is EISDIR or EINVAL.
ReplaceResult ReplaceFile(const std::string& path, std::string_view content,
                          const ReplaceOptions& options = {});

// Writes the content into a pipe, a terminal or another device at the path; a pipe waits for its
// reader. Links are followed as for ReplaceFile, except names of this process's own descriptors
// ("/dev/stdout", "/dev/fd/3"), which only the kernel can follow. Fails as ReplaceFile does: EPERM
// and EACCES name the obstacle.
ReplaceResult WriteToSpecialFile(const std::string& path, std::string_view content);

// Replaces the file that ReadWholeFile opened, or makes one when it opened none: EEXIST when
// another process has made one since, which is not replaced.
ReplaceResult ReplaceFile(const FilePlace& place, std::string_view content, Flush flush,
                          const OpenedFile& old);

// Replaces a file that is kept elsewhere and need be neither readable nor writable: the new file
// takes no properties from it.
ReplaceResult SupersedeFile(const FilePlace& place, std::string_view content);

// Opens a regular file or a character device for writing where it is, with the flags of open(2):
// O_CREAT (mode 0666 less the umask), O_EXCL, O_APPEND and O_TRUNC among them. Links are followed,
// and an existing file is opened, as trust.h allows: EPERM, EACCES otherwise, and nothing is
// truncated. EISDIR and EINVAL for other kinds of files. None, with errno, on failure.
Descriptor OpenForOutput(const std::string& path, int flags);

// Puts the open file on disk, and its name there: at once, or at the end of a FolderFlushDelay. 0
// or an errno.
int FlushFile(int file, const FilePlace& place);

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

  // Ends the delay before the destructor would: 0 when all folders are on disk (or another delay
  // goes on), or the first error.
  int Finish();

 private:
  bool is_finished_ = false;
};

}  // namespace host
}  // namespace orvik
