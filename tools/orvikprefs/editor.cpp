#include "tools/orvikprefs/editor.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace orvik::prefstool {

PrivateFile::PrivateFile(const std::string& content) {
  const char* const folder = secure_getenv("TMPDIR");
  path_ = std::string(folder != nullptr && *folder == '/' ? folder : "/tmp") +
          "/orvikprefs-XXXXXX.json";
  const int descriptor = mkostemps(path_.data(), 5, O_CLOEXEC);
  if (descriptor < 0) {
    error_ = errno;
    path_.clear();
    return;
  }
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t count = write(descriptor, content.data() + written, content.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      error_ = errno;
      break;
    }
    written += static_cast<std::size_t>(count);
  }
  if (close(descriptor) != 0 && error_ == 0) error_ = errno;
}

PrivateFile::~PrivateFile() {
  if (!path_.empty() && !kept_) unlink(path_.c_str());
}

std::string Editor() {
  for (const char* const variable : {"VISUAL", "EDITOR"}) {
    const char* const value = secure_getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "vi";
}

bool RunEditor(const std::string& editor, const std::string& file) {
  std::string quoted;
  for (const char byte : file) quoted += byte == '\'' ? std::string("'\\''") : std::string(1, byte);
  // As "$1", so that editors that are whole command lines may put it where they like.
  return std::system(("set -- '" + quoted + "'; " + editor + " \"$1\"").c_str()) == 0;
}

}  // namespace orvik::prefstool
