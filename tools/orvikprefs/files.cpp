#include "tools/orvikprefs/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <ostream>

#include "host/replace_file.h"
#include "platform/core_foundation/property_list.h"

namespace orvik::prefstool {

namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool IsStandardOutput(const struct stat& file) {
  struct stat output;
  return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev &&
         output.st_ino == file.st_ino;
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
  int error = 0;
  if (exists && !S_ISREG(there.st_mode) && !S_ISDIR(there.st_mode)) {
    Stream stream(std::fopen(file.c_str(), "wbe"), std::fclose);
    if (stream == nullptr) return context.FailFile(file, errno, true);
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) == bytes.size();
    error = std::fclose(stream.release()) == 0 && written ? 0 : errno;
  } else {
    error = host::ReplaceFile(file, bytes).error;
  }
  if (error != 0) return context.FailFile(file, error, true);
  return kDone;
}

}  // namespace orvik::prefstool
