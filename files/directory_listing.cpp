// Listing the entries of folders whose names match a pattern.
#include <vector>

#include "files/directory_path.h"
#include "files/folder_walk.h"
#include "files/path_arguments.h"
#include "files/wildcard.h"
#include "platform/carbon/errno_status.h"

namespace orvik {

void COrvikDirectoryPath::ListSubDirectories(const CAtlString& pattern,
                                             CAtlArray<COrvikDirectoryPath>& folders,
                                             BOOL recursive) const {
  if (DirectoryExists() == FALSE) return;
  std::vector<COrvikDirectoryPath> waiting{*this};
  while (!waiting.empty()) {
    const COrvikDirectoryPath folder = std::move(waiting.back());
    waiting.pop_back();
    WalkFolder(folder, [&](const FolderEntry& entry) {
      if (entry.kind != EntryKind::kFolder) return;
      const bool matches = MatchesWildcard(entry.name, pattern.View());
      if (!matches && recursive == FALSE) return;
      COrvikDirectoryPath subfolder = folder;
      subfolder.AddDirectoryToPath(PathFromUnits(entry.name));
      if (matches) folders.Add(subfolder);
      if (recursive != FALSE) waiting.push_back(std::move(subfolder));
    });
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
