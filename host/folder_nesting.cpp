#include "host/folder_nesting.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "host/at_path.h"
#include "host/descriptor.h"
#include "host/open_flags.h"

namespace orvik::host {

namespace {

Descriptor OpenFolder(const std::string& path) {
  return OpenPath(path, kOpenPlace);
}

// The part of a path that does not exist, without its dots. `went_up` says whether it had "..";
// the first ones may be left and are then those of what exists.
std::string WithoutDots(std::string_view missing, bool* went_up) {
  std::vector<std::string_view> names;
  *went_up = false;
  for (std::size_t start = 0; start < missing.size();) {
    const std::size_t slash = std::min(missing.find('/', start), missing.size());
    const std::string_view name = missing.substr(start, slash - start);
    start = slash + 1;
    if (name.empty() || name == ".") continue;
    if (name != "..") {
      names.push_back(name);
      continue;
    }
    *went_up = true;
    if (names.empty() || names.back() == "..") {
      names.push_back(name);
    } else {
      names.pop_back();
    }
  }
  std::string clean;
  for (const std::string_view name : names) clean.append("/").append(name);
  return clean;
}

// The innermost folder on the way to `path` that exists; empty when there is none.
Descriptor OpenExisting(std::string path) {
  if (path.empty()) return Descriptor();
  if (path.front() != '/') path = "./" + path;
  for (;;) {
    std::string existing = path;
    Descriptor folder;
    while (!(folder = OpenFolder(existing))) {
      const std::size_t slash = existing.rfind('/');
      if (slash == std::string::npos || existing == "/") return Descriptor();
      existing.resize(std::max<std::size_t>(slash, 1));
    }
    bool went_up = false;
    const std::string rest = WithoutDots(std::string_view(path).substr(existing.size()), &went_up);
    // What lies beside the missing part may exist, and be a link.
    if (!went_up) return folder;
    path = existing + rest;
  }
}

}  // namespace

bool LiesInFolder(const std::string& path, const std::string& folder) {
  struct stat wanted;
  if (StatPath(folder, 0, &wanted) != 0) return true;
  const Descriptor here = OpenExisting(path);
  return !here || LiesInFolder(here.get(), wanted);
}

bool LiesInFolder(int open_folder, const struct stat& folder) {
  struct stat info;
  if (fstat(open_folder, &info) != 0) return true;
  Descriptor own;
  for (int here = open_folder;;) {
    if (info.st_dev == folder.st_dev && info.st_ino == folder.st_ino) return true;
    Descriptor above(openat(here, "..", kOpenPlace));
    struct stat next;
    if (!above || fstat(above.get(), &next) != 0) return true;
    if (next.st_dev == info.st_dev && next.st_ino == info.st_ino) return false;
    own = std::move(above);
    here = own.get();
    info = next;
  }
}

}  // namespace orvik::host
