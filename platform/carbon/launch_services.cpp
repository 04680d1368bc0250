#include "platform/carbon/launch_services.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "host/descriptor.h"
#include "host/paths.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {
namespace {

enum class Program { kNone, kScript, kNative };

Program ProgramIn(const std::string& path, const struct statx& info) {
  if ((info.stx_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0) return Program::kNone;
  const host::Descriptor file = host::OpenPath(path, host::kOpenEntry);
  if (!file) {
    // An executable file that cannot be read is a compiled program, because scripts must be
    // readable.
    const host::AtPath at(path);
    return at.error() == 0 && faccessat(at.folder(), at.name(), X_OK, AT_EACCESS) == 0
               ? Program::kNative
               : Program::kNone;
  }
  char start[4] = {};
  std::size_t length = 0;
  host::ReadAt(file.get(), start, sizeof start, 0, &length);
  if (length == 4 && std::memcmp(start, "\177ELF", 4) == 0) return Program::kNative;
  return length >= 2 && start[0] == '#' && start[1] == '!' ? Program::kScript : Program::kNone;
}

LSItemInfoFlags FlagsOfFolder(const std::string& path) {
  struct stat contents;
  const bool package = path.ends_with(".app") &&
                       host::StatPath(host::ChildPath(path, "Contents"), 0, &contents) == 0 &&
                       S_ISDIR(contents.st_mode);
  return package ? kLSItemInfoIsApplication | kLSItemInfoIsNativeApp : 0;
}

LSItemInfoFlags FlagsOfFile(const std::string& path, const struct statx& info) {
  const Program program = ProgramIn(path, info);
  if (program == Program::kNative) return kLSItemInfoIsApplication | kLSItemInfoIsNativeApp;
  const bool is_application =
      program == Program::kScript || path.ends_with(".desktop") || path.ends_with(".AppImage");
  return is_application ? kLSItemInfoIsApplication : 0;
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
  info->flags = S_ISDIR(on_disk.stx_mode)   ? FlagsOfFolder(path)
                : S_ISREG(on_disk.stx_mode) ? FlagsOfFile(path, on_disk)
                                            : 0;
  return noErr;
}

}  // namespace orvik
