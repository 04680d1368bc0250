#include "platform/carbon/launch_services.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <string_view>

#include "platform/carbon/fsref_internal.h"
#include "host/at_path.h"
#include "platform/carbon/errno_status.h"

namespace orvik {
namespace {

enum class Program { kNone, kScript, kNative };

Program ProgramIn(const std::string& path, const struct statx& info) {
  if ((info.stx_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0) return Program::kNone;
  const host::AtPath at{path};
  if (at.error() != 0) return Program::kNone;
  const int descriptor =
      openat(at.folder(), at.name(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) {
    // What may be run but not read is a compiled program: scripts must be readable.
    return faccessat(at.folder(), at.name(), X_OK, AT_EACCESS) == 0 ? Program::kNative
                                                                    : Program::kNone;
  }
  char start[4] = {};
  const ssize_t length = pread(descriptor, start, sizeof start, 0);
  close(descriptor);
  if (length == 4 && std::memcmp(start, "\177ELF", 4) == 0) return Program::kNative;
  return length >= 2 && start[0] == '#' && start[1] == '!' ? Program::kScript : Program::kNone;
}

LSItemInfoFlags FlagsOfFolder(const std::string& path) {
  struct statx contents {};
  const bool package = path.ends_with(".app") &&
                       carbon::StatPath(carbon::ChildPath(path, "Contents"), carbon::Leaf::kFollow,
                                        &contents) == 0 &&
                       S_ISDIR(contents.stx_mode);
  if (!package) return kLSItemInfoIsContainer;
  return kLSItemInfoIsContainer | kLSItemInfoIsPackage | kLSItemInfoIsApplication |
         kLSItemInfoIsNativeApp;
}

LSItemInfoFlags FlagsOfFile(const std::string& path, const struct statx& info) {
  LSItemInfoFlags flags = kLSItemInfoIsPlainFile;
  const std::string_view name = carbon::LeafName(path);
  if (name.ends_with(".desktop") || name.ends_with(".AppImage")) {
    flags |= kLSItemInfoIsApplication;
  }
  const Program program = ProgramIn(path, info);
  if (program != Program::kNone) flags |= kLSItemInfoIsApplication;
  if (program == Program::kNative) flags |= kLSItemInfoIsNativeApp;
  return flags;
}

}  // namespace

OSStatus LSCopyItemInfoForRef(const FSRef* ref, LSRequestedInfo which_info,
                              LSItemInfoRecord* info) {
  if (ref == nullptr || info == nullptr || which_info != kLSRequestAllFlags) return paramErr;
  std::string path;
  struct statx on_disk {};
  if (const int error = carbon::LocateReference(*ref, &path, &on_disk)) {
    return host::StatusFromErrno(error);
  }
  LSItemInfoFlags flags = 0;
  if (S_ISDIR(on_disk.stx_mode)) {
    flags = FlagsOfFolder(path);
  } else if (S_ISLNK(on_disk.stx_mode)) {
    flags = kLSItemInfoIsSymlink;
  } else if (S_ISREG(on_disk.stx_mode)) {
    flags = FlagsOfFile(path, on_disk);
  }
  if (carbon::LeafName(path).starts_with('.')) flags |= kLSItemInfoIsInvisible;
  info->flags = flags;
  return noErr;
}

}  // namespace orvik
