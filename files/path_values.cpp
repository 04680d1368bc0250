// Both path values beside the paths and texts of other libraries.
#include <ostream>

#include "files/directory_path.h"
#include "files/file_path.h"
#include "files/path_arguments.h"
#include "host/file_names.h"

namespace orvik {
namespace {

std::optional<CAtlString> Below(std::u16string_view path, std::u16string_view folder) {
  if (!path.starts_with(folder)) return std::nullopt;
  path.remove_prefix(folder.size());
  if (path.empty()) return CAtlString();
  if (path.front() != u'/') return std::nullopt;
  return CAtlString(path.substr(1));
}

// A path that no file can have is written, too.
std::ostream& Write(std::ostream& out, const CAtlString& path) {
  const std::optional<std::string> bytes = host::FileNameToBytes(path.View());
  return out << (bytes ? *bytes : path.ToUtf8());
}

}  // namespace

COrvikFilePath COrvikFilePath::FromBytes(std::string_view bytes) {
  return COrvikFilePath(PathFromBytes(bytes));
}

COrvikDirectoryPath COrvikDirectoryPath::FromBytes(std::string_view bytes) {
  return COrvikDirectoryPath(PathFromBytes(bytes));
}

std::string COrvikFilePath::ToBytes() const {
  return PathForLibc(path_).value_or("");
}

std::string COrvikDirectoryPath::ToBytes() const {
  return PathForLibc(path_).value_or("");
}

std::optional<CAtlString> COrvikFilePath::RelativeTo(const COrvikDirectoryPath& folder) const {
  return Below(path_, folder.GetDirectoryPathString());
}

std::optional<CAtlString> COrvikDirectoryPath::RelativeTo(const COrvikDirectoryPath& folder) const {
  return Below(path_, folder.path_);
}

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out,
                                                        const COrvikFilePath& path) {
  return Write(out, path.path_);
}

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out,
                                                        const COrvikDirectoryPath& path) {
  return Write(out, path.path_);
}

}  // namespace orvik
