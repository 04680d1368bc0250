#include "files/directory_manipulator.h"

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "files/folder_walk.h"
#include "files/path_arguments.h"
#include "files/tree_failures.h"
#include "files/wildcard.h"
#include "files/windows_files.h"
#include "host/at_path.h"
#include "host/open_flags.h"
#include "host/tree_merge.h"
#include "host/tree_removal.h"

namespace orvik {
BOOL CDirectoryManipulator::CreateDirectory(const COrvikDirectoryPath& folder) {
  std::vector<COrvikDirectoryPath> missing;
  COrvikDirectoryPath ancestor = folder;
  do {
    if (ancestor.DirectoryExists() != FALSE) break;
    missing.push_back(ancestor);
  } while (ancestor.RemoveLastSubdirectoryFromPath() != FALSE);

  BOOL created = TRUE;
  for (; !missing.empty(); missing.pop_back()) {
    created =
        orvik::CreateDirectory(PathArgument(missing.back().GetDirectoryPathString()), nullptr);
  }
  return created;
}

BOOL CDirectoryManipulator::RemoveDirectory(const COrvikDirectoryPath& folder) {
  return folder.DirectoryExists() == FALSE ||
         orvik::RemoveDirectory(PathArgument(folder.GetDirectoryPathString())) != FALSE;
}

BOOL CDirectoryManipulator::RemoveFilesFromDirectory(const COrvikDirectoryPath& folder,
                                                     const CAtlString& pattern) {
  if (folder.DirectoryExists() == FALSE) return TRUE;
  const std::optional<std::string> path = PathForLibc(folder.GetDirectoryPathString());
  const host::Descriptor opened =
      path ? host::OpenPath(*path, host::kOpenFolder) : host::Descriptor();
  if (!opened || host::IsRootFolder(opened.get())) return FALSE;
  BOOL all = TRUE;
  const int error = WalkFolder(opened.get(), [&](const FolderEntry& entry) {
    if (entry.kind == EntryKind::kFolder || !MatchesWildcard(entry.name, pattern.View())) return;
    if (host::RemoveFile(opened.get(), entry.name_on_disk, host::Obstacles::kTakeAway) != 0) {
      all = FALSE;
    }
  });
  return error == 0 ? all : FALSE;
}

BOOL CDirectoryManipulator::RemoveAllFilesAndSubDirectories(const COrvikDirectoryPath& folder,
                                                            TreeReport* report) {
  if (folder.DirectoryExists() == FALSE) return TRUE;
  const std::optional<std::string> path = PathForLibc(folder.GetDirectoryPathString());
  if (!path) return FALSE;
  host::TreeOutcome done;
  const int error = host::EmptyFolder(*path, host::Obstacles::kTakeAway, &done);
  AddOutcome(folder, done, report);
  return error == 0 ? TRUE : FALSE;
}

BOOL CDirectoryManipulator::RemoveDirectoryAndContents(const COrvikDirectoryPath& folder,
                                                       TreeReport* report) {
  RemoveAllFilesAndSubDirectories(folder, report);
  return RemoveDirectory(folder);
}

HRESULT CDirectoryManipulator::RecursivelyCopyDirectory(const COrvikDirectoryPath& source,
                                                        const COrvikDirectoryPath& target,
                                                        BOOL move, TreeReport* report) {
  const std::optional<std::string> from = PathForLibc(source.GetDirectoryPathString());
  const std::optional<std::string> to = PathForLibc(target.GetDirectoryPathString());
  if (!from || !to) return E_FAIL;
  host::TreeOutcome done;
  const int error = host::MergeTree(
      *from, *to, move == FALSE ? host::Transfer::kCopy : host::Transfer::kMove, &done);
  if (error != 0)
    done.AddFailure({}, error, error == EINVAL ? host::Side::kTarget : host::Side::kSource);
  AddOutcome(source, done, report);
  return error == 0 ? S_OK : E_FAIL;
}

}  // namespace orvik
