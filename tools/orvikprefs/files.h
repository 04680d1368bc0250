// Files that the commands read, write, list, back up and edit.
//
// File names are bytes, as given on the command line. These functions print nothing, unless they
// take a Context: then a failure is one line on its error output.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

// Reads a whole file, pipe or device, following links; "-" means standard input. `bytes` receives
// the bytes read, also before a failure. Returns 0 or an errno value: EFBIG for more bytes than a
// property list may have (plist::kMaximumFileSize), whatever size the file reports.
int ReadWhole(const std::string& file, std::string& bytes);

// Writes all bytes and returns kDone, or kNotSaved after a message.
//
// A regular file is replaced atomically and flushed to disk (host/replace_file.h: its mode, owner
// and attributes stay, other hard links keep the old content); its folder must exist. "-", and the
// file to which standard output is redirected, mean Context::out. Pipes, terminals and other
// devices are written directly. A link or file that another user may have put there is refused and
// named.
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
// can be given as --domain. Other files in the folder are left out (lock records, files that repair
// kept), and so are files whose names are not those of a domain (IsUsableDomain). A missing folder
// has none.
DomainFiles DomainsOf(int scope);

// The result of a transaction with --backup, --check and --dry-run.
struct Carried {
  PrefStatus status;
  TransactionResult result;
  std::string backup;    // the path of the kept copy, or ""
  bool has_copy = true;  // false: no copy could be made, so nothing was changed
};

// Commits the transaction, or with `rehearses` only finds its result.
//
// With `backs_up` a copy of the old file is kept beside it, with its mode, as
// FILE.backup-2026-11-25T20:15:01Z (then "-2" to "-100"; nothing is overwritten); "import
// --replace" restores it. The copy is made under the lock, after all conditions are met, and is on
// disk before the change. It is removed again when nothing changes. A domain without a file and a
// rehearsal have no copy. If the copy fails, a message is printed; the exit status is then
// kNotSaved. If a change fails when the new file is already in place (its folder cannot be
// flushed), the copy stays, and a message says so.
Carried CarryOut(const Context& context, Transaction& transaction, bool backs_up,
                 bool rehearses = false);

// A text for the user to edit: a file in its own folder in TMPDIR (else /tmp) that only the caller
// may enter. Both are removed with the object, unless the file is preserved.
class PrivateFile {
 public:
  explicit PrivateFile(const std::string& content);
  ~PrivateFile();
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;

  const std::string& path() const { return path_; }  // TMPDIR when no folder could be made there
  int error() const { return error_; }               // an errno value when it could not be written
  // Reads the file back, or the file by which the editor replaced it. It is looked up in the folder
  // that the object made, which stays open, so changes of the path by others have no effect.
  // Returns 0 or an errno value: EPERM for a link or for a file of another user.
  int Read(std::string& bytes) const;
  // Leaves the file and its folder to the user; the caller must report path().
  void Preserve() { preserved_ = true; }

 private:
  std::string folder_path_;
  std::string path_;
  host::Descriptor folder_;
  int error_ = 0;
  bool preserved_ = false;
};

// $VISUAL, $EDITOR or vi, the first that is set and not empty: a command line of the shell. A
// program with more privileges than its caller ignores both variables.
std::string Editor();

// Runs the command line on the terminal of the process with the file as its last word ("$1") and
// waits for its end. True when it ended with status 0.
bool RunEditor(const std::string& editor, const std::string& file);

}  // namespace orvik::prefstool
