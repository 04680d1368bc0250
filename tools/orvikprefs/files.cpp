#include "tools/orvikprefs/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <ostream>

#include "host/descriptor.h"
#include "host/file_place.h"
#include "host/replace_file.h"
#include "host/staged_file.h"
#include "host/trust.h"
#include "platform/core_foundation/property_list.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool IsStandardOutput(const struct stat& file) {
  struct stat output;
  return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev &&
         output.st_ino == file.st_ino;
}

// Names of this process's own descriptors, which only the kernel can follow.
bool NamesDescriptor(const std::string& file) {
  return file.starts_with("/dev/fd/") || file.starts_with("/proc/self/fd/") ||
         file == "/dev/stdout" || file == "/dev/stderr";
}

int WriteToOpened(host::Descriptor opened, const std::string& bytes) {
  if (!opened) return errno;
  const int error = host::WriteAll(opened.get(), bytes);
  return opened.Close() || error != 0 ? error : errno;
}

// Writes to what is neither a regular file nor a folder: a pipe, a device.
host::ReplaceResult WriteToSpecial(const std::string& file, const std::string& bytes) {
  constexpr int kFlags = O_WRONLY | O_NOCTTY | O_CLOEXEC;
  host::ReplaceResult result;
  if (NamesDescriptor(file)) {
    result.error = WriteToOpened(host::Descriptor(open(file.c_str(), kFlags)), bytes);
    return result;
  }
  const host::FilePlace place = host::FindPlace(file, host::Links::kTrusted);
  result.error = place.error;
  result.obstacle = place.obstacle;
  if (!place) return result;
  struct stat there;
  const int folder = place.folder.get();
  const char* const name = place.name.c_str();
  if (fstatat(folder, name, &there, AT_SYMLINK_NOFOLLOW) == 0 &&
      !host::MayReplace(there, place.folder_attributes)) {
    result.error = EACCES;
    result.obstacle = place.path;
    return result;
  }
  result.error = WriteToOpened(host::Descriptor(openat(folder, name, kFlags | O_NOFOLLOW)), bytes);
  return result;
}

}  // namespace

int ReadWhole(const std::string& file, std::string& bytes) {
  const Stream opened(file == "-" ? nullptr : std::fopen(file.c_str(), "rbe"), std::fclose);
  std::FILE* const stream = file == "-" ? stdin : opened.get();
  if (stream == nullptr) return errno;
  struct stat attributes;
  const bool is_large = fstat(fileno(stream), &attributes) == 0 && S_ISREG(attributes.st_mode) &&
                        static_cast<std::size_t>(attributes.st_size) > kPropertyListMaximumFileSize;
  if (is_large) return EFBIG;
  char buffer[65536];
  errno = 0;
  while (const size_t count = std::fread(buffer, 1, sizeof buffer, stream)) {
    if (bytes.size() + count > kPropertyListMaximumFileSize) return EFBIG;
    bytes.append(buffer, count);
  }
  return std::ferror(stream) != 0 ? errno : 0;
}

int WriteWhole(const Context& context, const std::string& file, const std::string& bytes) {
  struct stat there;
  const bool exists = file != "-" && stat(file.c_str(), &there) == 0;
  if (file == "-" || (exists && IsStandardOutput(there))) {
    context.out->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return kDone;
  }
  const bool is_special = exists && !S_ISREG(there.st_mode) && !S_ISDIR(there.st_mode);
  const host::ReplaceResult result =
      is_special ? WriteToSpecial(file, bytes) : host::ReplaceFile(file, bytes);
  if (result.error == 0) return kDone;
  if (result.error == EPERM && !result.obstacle.empty()) {
    return context.Fail(kNotSaved, Quoted(file) + " cannot be written: " + Quoted(result.obstacle) +
                                       " is a link of another user; name the link's target");
  }
  if (result.error == EACCES && !result.obstacle.empty()) {
    return context.Fail(kNotSaved, Quoted(file) + " cannot be written: " + Quoted(result.obstacle) +
                                       " is another user's, in a folder that everyone may write;" +
                                       " name another file");
  }
  return context.FailFile(file, result.error, true);
}

}  // namespace orvik::prefstool
