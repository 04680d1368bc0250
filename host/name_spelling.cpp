#include "host/name_spelling.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "host/at_path.h"
#include "host/file_names.h"
#include "text/normalization.h"
#include "text/transcoding.h"

namespace orvik::host {
namespace {

bool Exists(const std::string& path) {
  const AtPath at{path};
  struct stat info {};
  return at.error() == 0 && fstatat(at.folder(), at.name(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

std::u16string ComposedName(std::string_view bytes) {
  return Composed(FileNameFromBytes(bytes));
}

std::optional<std::string> FindInFolder(const std::string& folder, std::string_view name) {
  const AtPath at{folder};
  if (at.error() != 0) return std::nullopt;
  const int descriptor = openat(at.folder(), at.name(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const stream = descriptor < 0 ? nullptr : fdopendir(descriptor);
  if (stream == nullptr) {
    if (descriptor >= 0) close(descriptor);
    return std::nullopt;
  }
  const std::u16string wanted = ComposedName(name);
  std::optional<std::string> found;
  while (const dirent* const entry = readdir(stream)) {
    if (!IsAscii(entry->d_name) && ComposedName(entry->d_name) == wanted) {
      found = entry->d_name;
      break;
    }
  }
  closedir(stream);
  return found;
}

}  // namespace

std::optional<std::string> FindOtherSpelling(const std::string& path) {
  if (IsAscii(path)) return std::nullopt;
  std::string found;
  bool changed = false;
  for (std::size_t start = 0; start < path.size();) {
    const std::size_t slash = std::min(path.find('/', start), path.size());
    const std::string_view name = std::string_view(path).substr(start, slash - start);
    start = slash + 1;
    const std::string folder = found.empty() ? "/" : found;
    if (name.empty()) continue;
    found += '/';
    found += name;
    if (Exists(found)) continue;
    if (IsAscii(name)) return std::nullopt;
    const std::optional<std::string> other = FindInFolder(folder, name);
    if (!other) return std::nullopt;
    found.replace(found.size() - name.size(), name.size(), *other);
    changed = true;
  }
  return changed ? std::optional<std::string>(std::move(found)) : std::nullopt;
}

}  // namespace orvik::host
