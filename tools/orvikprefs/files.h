// Files that the commands read, write, list, back up and edit.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

// Reads a whole file; "-" means standard input. Returns 0 or an errno value: EFBIG for more bytes
// than a property list may have.
int ReadWhole(const std::string& file, std::string& bytes);

// Replaces a regular file atomically; "-" means standard output. Writes into anything else, such as
// /dev/stdout, a pipe or a terminal. The exit status, after a message.
int WriteWhole(const Context& context, const std::string& file, const std::string& bytes);

struct DomainFile {
  std::string name;
  std::string file;
  std::uintmax_t size;  // in bytes
};

// In the order of their names' bytes. Files that lie beside a preference file without being one
// (the lock records, what repair kept) are left out. A folder that cannot be read holds none.
std::vector<DomainFile> DomainsOf(int scope);

// A copy of the domain's file from before a change: beside the file, as
// FILE.backup-2026-11-25T20:15:01Z, with the file's mode; "import --replace" takes it back.
class Backup {
 public:
  // Without --backup on the line it does nothing.
  Backup(const Context& context, bool is_wanted) : context_(context), is_wanted_(is_wanted) {}

  // Copies the file when the transaction has carried out everything before this step, under its
  // lock. A domain without a file has no copy.
  void AddTo(Transaction& transaction);

  // Whether the copy failed, and with it the transaction; prints why. The exit status is kNotSaved.
  bool Failed() const;

  // The copy, or "".
  const std::string& path() const { return path_; }
  // Removes the copy of a file that was not changed.
  void Discard();

 private:
  bool Copy();

  const Context& context_;
  bool is_wanted_;
  std::string path_;
  int error_ = 0;
};

// A text that the user edits: a file in a folder of its own in TMPDIR (else /tmp) that only the
// caller may enter. Both are removed with the object, unless the file is preserved.
class PrivateFile {
 public:
  explicit PrivateFile(const std::string& content);
  ~PrivateFile();
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;

  const std::string& path() const { return path_; }
  int error() const { return error_; }  // an errno value when it could not be written
  // Reads the file back, or the one that the editor put under its name. It is looked up in the
  // folder that the object made, which stays open: nothing that others do to the path counts.
  // Returns 0 or an errno value: EPERM for a link or for a file of another user.
  int Read(std::string& bytes) const;
  void Preserve() { preserved_ = true; }

 private:
  std::string folder_path_;
  std::string path_;
  host::Descriptor folder_;
  int error_ = 0;
  bool preserved_ = false;
};

// $VISUAL, $EDITOR or vi: a command line of the shell.
std::string Editor();

// Whether the editor ran on the file and ended well.
bool RunEditor(const std::string& editor, const std::string& file);

}  // namespace orvik::prefstool
