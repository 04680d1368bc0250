// A copy of the domain's file from before a change.
#pragma once

#include <string>

#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

// Beside the file, as FILE.backup-2026-11-25T20:15:01Z, with the file's mode; "import --replace"
// takes it back.
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

}  // namespace orvik::prefstool
