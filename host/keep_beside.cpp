#include "host/keep_beside.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/move_file.h"

namespace orvik::host {

namespace {

constexpr int kMaximumNames = 1000;

std::string NameBeside(const std::string& file, std::string_view suffix, int number) {
  const std::string name = file + std::string(suffix);
  return number == 1 ? name : name + '-' + std::to_string(number);
}

bool AreOne(const std::string& path, const std::string& other) {
  struct stat one, two;
  return stat(path.c_str(), &one) == 0 && stat(other.c_str(), &two) == 0 &&
         one.st_dev == two.st_dev && one.st_ino == two.st_ino;
}

}  // namespace

KeptFile KeepBeside(const std::string& file, std::string_view content, Flush flush,
                    std::string_view suffix) {
  for (int number = 1; number <= kMaximumNames; ++number) {
    KeptFile kept{0, NameBeside(file, suffix, number), true};
    const char* const name = kept.path.c_str();
    if (linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0) return kept;
    std::string present;
    const int error = ReadWholeFile(kept.path, &present);
    if (error == ENOENT) {
      kept.error = ReplaceFile(kept.path, content, flush, file).error;
      return kept;
    }
    kept.made = false;
    if (error == 0 && present == content) return kept;
  }
  return {EEXIST, {}, false};
}

KeptFile KeepUnreadBeside(const std::string& file, std::string_view suffix) {
  for (int number = 1; number <= kMaximumNames; ++number) {
    KeptFile kept{0, NameBeside(file, suffix, number), true};
    const char* const name = kept.path.c_str();
    if (linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0) return kept;
    kept.error = errno;
    if (kept.error == EEXIST && AreOne(kept.path, file)) return {0, kept.path, false};
    const bool has_one_name = kept.error == EPERM || kept.error == EXDEV ||
                              kept.error == EOPNOTSUPP || kept.error == EMLINK;
    if (has_one_name) kept.error = MoveWithoutReplacing(file, kept.path);
    if (kept.error != EEXIST) return kept;
  }
  return {EEXIST, {}, false};
}

void PutBack(const KeptFile& kept, const std::string& file) {
  if (!kept.made || kept.error != 0) return;
  std::string old, present;
  struct stat record;
  if (lstat(file.c_str(), &record) != 0) {
    if (errno == ENOENT) MoveWithoutReplacing(kept.path, file);
    return;
  }
  if (AreOne(kept.path, file) || (ReadWholeFile(file, &present) == 0 &&
                                  ReadWholeFile(kept.path, &old) == 0 && old == present)) {
    unlink(kept.path.c_str());
  }
}

}  // namespace orvik::host
