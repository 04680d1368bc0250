// Text that the user edits in a program of their own.
#pragma once

#include <string>

namespace orvik::prefstool {

// A file in TMPDIR (else /tmp) that nobody else may read. It goes with the object, unless it is
// kept.
class PrivateFile {
 public:
  explicit PrivateFile(const std::string& content);
  ~PrivateFile();
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;

  const std::string& path() const { return path_; }
  int error() const { return error_; }  // an errno value when it could not be written
  void Keep() { kept_ = true; }

 private:
  std::string path_;
  int error_ = 0;
  bool kept_ = false;
};

// $VISUAL, $EDITOR or vi: a command line of the shell.
std::string Editor();

// Whether the editor ran on the file and ended well.
bool RunEditor(const std::string& editor, const std::string& file);

}  // namespace orvik::prefstool
