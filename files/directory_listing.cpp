// Listing the entries of folders whose names match a pattern.
#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "files/directory_path.h"
#include "files/folder_walk.h"
#include "files/path_arguments.h"
#include "files/tree_failures.h"
#include "files/tree_report.h"
#include "files/wildcard.h"
#include "host/at_path.h"
#include "host/path_names.h"
#include "platform/carbon/errno_status.h"

namespace orvik {
namespace {

std::string_view BelowTop(std::string_view path, std::string_view top) {
  path.remove_prefix(top.size());
  if (path.starts_with('/')) path.remove_prefix(1);
  return path;
}

}  // namespace

void COrvikDirectoryPath::ListSubDirectories(const CAtlString& pattern,
                                             CAtlArray<COrvikDirectoryPath>& folders,
                                             BOOL recursive) const {
  ListSubDirectories(pattern, folders, recursive, nullptr);
}

void COrvikDirectoryPath::ListSubDirectories(const CAtlString& pattern,
                                             CAtlArray<COrvikDirectoryPath>& folders,
                                             BOOL recursive, TreeReport* report,
                                             Progress* progress) const {
  const std::optional<std::string> top = PathForLibc(path_);
  if (!top) return;
  host::Monitor* const monitor = MonitorOf(progress, COrvikFilePath(path_));
  // The path as it is given, and as it is spelled on disk, so that no folder is looked for again.
  std::vector<std::pair<COrvikDirectoryPath, std::string>> waiting{{*this, *top}};
  while (!waiting.empty()) {
    const auto [folder, on_disk] = std::move(waiting.back());
    waiting.pop_back();
    if (host::IsStopped(monitor) || !host::Begins(monitor, {}, BelowTop(on_disk, *top))) {
      AddFailure(COrvikFilePath(folder.GetDirectoryPathString()), ECANCELED, host::Side::kSource,
                 report);
      break;
    }
    std::uint64_t count = 0;
    const auto visit = [&, &folder = folder, &on_disk = on_disk](const FolderEntry& entry) {
      ++count;
      if (entry.kind != EntryKind::kFolder) return;
      const bool matches = MatchesWildcard(entry.name, pattern.View());
      if (!matches && recursive == FALSE) return;
      COrvikDirectoryPath subfolder = folder;
      subfolder.AddDirectoryToPath(PathFromUnits(entry.name));
      if (matches) folders.Add(subfolder);
      if (recursive == FALSE) return;
      waiting.emplace_back(std::move(subfolder), host::ChildPath(on_disk, entry.name_on_disk));
    };
    const host::Descriptor opened = host::OpenPath(on_disk, O_RDONLY | O_DIRECTORY);
    const int error = opened ? WalkFolder(opened.get(), visit) : errno;
    if (error != 0 && error != ENOENT) {  // one that vanished is not missed
      AddFailure(COrvikFilePath(folder.GetDirectoryPathString()), error, host::Side::kSource,
                 report);
    }
    host::Advances(monitor, count, 0);
  }
  SortPaths(folders);
}

OSErr COrvikDirectoryPath::FindFilesInDirectory(const CAtlString& pattern,
                                                CAtlArray<COrvikFilePath>& files) const {
  if (DirectoryExists() == FALSE) return 0;
  const int error = WalkFolder(*this, [&](const FolderEntry& entry) {
    if (entry.kind == EntryKind::kFolder || !MatchesWildcard(entry.name, pattern.View())) return;
    files.Add(CreateFilePath(PathFromUnits(entry.name)));
  });
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

}  // namespace orvik
