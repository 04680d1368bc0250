#include "host/name_spelling.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "text/transcoding.h"
#include "host/at_path.h"
#include "host/file_names.h"

namespace orvik::host {
namespace {

bool Exists(const std::string& path) {
  const AtPath at{path};
  struct stat info {};
  return at.error() == 0 && fstatat(at.folder(), at.name(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

icu::UnicodeString Composed(std::string_view bytes) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* const form = icu::Normalizer2::getNFCInstance(status);
  const std::u16string units = FileNameFromBytes(bytes);
  const icu::UnicodeString text(units.data(), static_cast<std::int32_t>(units.size()));
  return U_SUCCESS(status) ? form->normalize(text, status) : text;
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
  const icu::UnicodeString wanted = Composed(name);
  std::optional<std::string> found;
  while (const dirent* const entry = readdir(stream)) {
    if (!IsAscii(entry->d_name) && Composed(entry->d_name) == wanted) {
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
