#include "host/file_identity.h"

namespace orvik::host {

namespace {

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

FileIdentity IdentityOf(const struct stat& attributes) {
  return {.exists = true,
          .device = attributes.st_dev,
          .inode = attributes.st_ino,
          .size = attributes.st_size,
          .modified = Nanoseconds(attributes.st_mtim),
          .changed = Nanoseconds(attributes.st_ctim)};
}

FileIdentity IdentityOf(const std::string& path) {
  struct stat attributes;
  if (stat(path.c_str(), &attributes) != 0) return {};
  return IdentityOf(attributes);
}

}  // namespace orvik::host
