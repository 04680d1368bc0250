#include "platform/carbon/fork_names.h"

#include <linux/limits.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>

#include "platform/carbon/catalog.h"

namespace orvik::carbon {
namespace {

constexpr std::string_view kPrefix = "user.";
constexpr std::string_view kReservedPrefix = "user.orvik.";

// Calls `read` (a system call that fills a buffer and answers ERANGE when it is too small) until
// the answer fits.
template <typename Read>
int ReadGrowing(std::string* buffer, Read read) {
  buffer->resize(std::max<std::size_t>(buffer->capacity(), 512));
  for (;;) {
    const ssize_t length = read(buffer->data(), buffer->size());
    if (length >= 0) {
      buffer->resize(static_cast<std::size_t>(length));
      return 0;
    }
    if (errno != ERANGE || buffer->size() > XATTR_SIZE_MAX) {
      const int error = errno;
      buffer->clear();
      return error;
    }
    buffer->resize(buffer->size() * 4);
  }
}

}  // namespace

int ListForkAttributes(int descriptor, std::vector<std::string>* attributes, bool* has_record) {
  attributes->clear();
  *has_record = false;
  std::string list;
  const int error = ReadGrowing(
      &list, [&](char* data, std::size_t size) { return flistxattr(descriptor, data, size); });
  if (error == ENOTSUP) return 0;
  if (error != 0) return error;
  for (std::size_t start = 0; start < list.size();) {
    const std::string_view name{list.c_str() + start};
    start += name.size() + 1;
    if (name == kCatalogAttribute) *has_record = true;
    if (name.starts_with(kPrefix) && !name.starts_with(kReservedPrefix) &&
        name.size() > kPrefix.size()) {
      attributes->emplace_back(name);
    }
  }
  std::sort(attributes->begin(), attributes->end());
  return 0;
}

int ReadForkAttribute(int descriptor, const std::string& attribute, std::string* value) {
  return ReadGrowing(value, [&](char* data, std::size_t size) {
    return fgetxattr(descriptor, attribute.c_str(), data, size);
  });
}

}  // namespace orvik::carbon
