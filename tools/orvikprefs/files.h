// Files that the commands read, write, list, back up and edit.
//
// Names of files are bytes, as the command line gives them. Nothing here prints, except where a
// Context is passed: then a failure is one line on its error output.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

// Reads a whole file, pipe or device, following links; "-" means standard input. `bytes` receives
// what was read, also before a failure. Returns 0 or an errno value: EFBIG for more bytes than a
// property list may have (plist::kMaximumFileSize), however large the file says it is.
int ReadWhole(const std::string& file, std::string& bytes);

// Writes all bytes and returns kDone, or kNotSaved after a message.
//
// A regular file is replaced atomically and flushed to disk (host/replace_file.h: its mode, owner
// and attributes stay, other hard links keep the old content); its folder must exist. "-", and the
// file that standard output is redirected to, is Context::out. Pipes, terminals and other devices
// are written into. A link or a file that another user may have put there is refused by name.
int WriteWhole(const Context& context, const std::string& file, const std::string& bytes);

struct DomainFile {
  std::string name;     // of the domain, without the scope's leading dot and ".plist"
  std::string file;     // its path
  std::uintmax_t size;  // in bytes
};

struct DomainFiles {
  std::vector<DomainFile> list;
  int error = 0;           // why a folder or file cannot be examined; the others are listed
  std::string unreadable;  // its path
};

// The domains that have a file in the scope (0 to 5), in the order of their names' bytes; each name
// can be given back. Files that lie beside a preference file without being one (the lock records,
// what repair kept) are left out, as are those whose names are not of a domain (IsUsableDomain). A
// folder that is missing holds none.
DomainFiles DomainsOf(int scope);

// How a transaction ended, with what --backup, --check and --dry-run ask for.
struct Carried {
  PrefStatus status;
  TransactionResult result;
  std::string backup;    // the path of the copy that was kept, or ""
  bool has_copy = true;  // false: the copy could not be made, and nothing was changed
};

// Carries the transaction out, or with `rehearses` only finds what it would do.
//
// With `backs_up` a copy of the domain's file from before is kept beside it, with its mode, as
// FILE.backup-2026-11-25T20:15:01Z (then "-2" to "-100"; nothing is overwritten); "import
// --replace" takes it back. The copy is made under the lock, when all conditions hold, and on disk
// before the change. It is removed again when nothing changes, and a domain without a file, or a
// rehearsal, has none. When it fails a message is printed; the exit status is then kNotSaved. A
// change that fails when the new file is there already (its folder cannot be flushed) leaves the
// copy, and a message says so.
Carried CarryOut(const Context& context, Transaction& transaction, bool backs_up,
                 bool rehearses = false);

// A text that the user edits: a file in a folder of its own in TMPDIR (else /tmp) that only the
// caller may enter. Both are removed with the object, unless the file is preserved.
class PrivateFile {
 public:
  explicit PrivateFile(const std::string& content);
  ~PrivateFile();
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;

  const std::string& path() const { return path_; }  // TMPDIR when no folder could be made there
  int error() const { return error_; }               // an errno value when it could not be written
  // Reads the file back, or the one that the editor put under its name. It is looked up in the
  // folder that the object made, which stays open: nothing that others do to the path counts.
  // Returns 0 or an errno value: EPERM for a link or for a file of another user.
  int Read(std::string& bytes) const;
  // Leaves the file and its folder to the user, who is told path().
  void Preserve() { preserved_ = true; }

 private:
  std::string folder_path_;
  std::string path_;
  host::Descriptor folder_;
  int error_ = 0;
  bool preserved_ = false;
};

// $VISUAL, $EDITOR or vi, the first that is set and not empty: a command line of the shell. A
// program with more rights than its caller ignores both variables.
std::string Editor();

// Runs the command line on the terminal of the process with the file as its last word ("$1") and
// waits for its end. True when it ended with status 0.
bool RunEditor(const std::string& editor, const std::string& file);

}  // namespace orvik::prefstool
