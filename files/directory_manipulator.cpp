#include "files/directory_manipulator.h"

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "files/path_disk.h"
#include "files/path_text.h"
#include "files/windows_files.h"
#include "host/descriptor.h"
#include "host/paths.h"
#include "host/tree_merge.h"
#include "host/tree_removal.h"

namespace orvik {
namespace {

COrvikFilePath AsFile(const COrvikDirectoryPath& folder) {
  return COrvikFilePath(folder.GetDirectoryPathString());
}

}  // namespace

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
                                                     const CAtlString& pattern, TreeReport* report,
                                                     Progress* progress) {
  if (folder.DirectoryExists() == FALSE) return TRUE;
  const std::optional<std::string> path = PathForLibc(folder.GetDirectoryPathString());
  const host::Descriptor opened =
      path ? host::OpenPath(*path, host::kOpenFolder) : host::Descriptor();
  host::TreeOutcome done;
  if (!opened || host::IsRootFolder(opened.get())) {
    done.AddFailure({}, opened ? EBUSY : errno);
  } else {
    host::Monitor* const monitor = MonitorOf(progress, AsFile(folder));
    const int error = WalkFolder(opened.get(), [&](const FolderEntry& entry) {
      if (entry.kind == EntryKind::kFolder || !MatchesWildcard(entry.name, pattern.View())) {
        return true;
      }
      if (host::IsStopped(monitor) || !host::Begins(monitor, {}, entry.name_on_disk)) {
        done.AddFailure(entry.name_on_disk, ECANCELED);
        return false;
      }
      const int refusal =
          host::RemoveFile(opened.get(), entry.name_on_disk, host::Obstacles::kOverride);
      if (refusal == 0) {
        ++done.done;
      } else {
        done.AddFailure(entry.name_on_disk, refusal);
      }
      host::Advances(monitor, 1, 0);
      return true;
    });
    if (error != 0 && error != ECANCELED) done.AddFailure({}, error);
  }
  AddOutcome(folder, done, report);
  return done.failed == 0 ? TRUE : FALSE;
}

BOOL CDirectoryManipulator::RemoveAllFilesAndSubDirectories(const COrvikDirectoryPath& folder,
                                                            TreeReport* report,
                                                            Progress* progress) {
  if (folder.DirectoryExists() == FALSE) return TRUE;
  const std::optional<std::string> path = PathForLibc(folder.GetDirectoryPathString());
  if (!path) return FALSE;
  host::TreeOutcome done;
  const int error = host::EmptyFolder(*path, host::Obstacles::kOverride, &done,
                                      MonitorOf(progress, AsFile(folder)));
  AddOutcome(folder, done, report);
  return error == 0 ? TRUE : FALSE;
}

BOOL CDirectoryManipulator::RemoveDirectoryAndContents(const COrvikDirectoryPath& folder,
                                                       TreeReport* report, Progress* progress) {
  RemoveAllFilesAndSubDirectories(folder, report, progress);
  return RemoveDirectory(folder);
}

HRESULT CDirectoryManipulator::RecursivelyCopyDirectory(const COrvikDirectoryPath& source,
                                                        const COrvikDirectoryPath& target,
                                                        BOOL move, TreeReport* report,
                                                        Progress* progress) {
  const std::optional<std::string> from = PathForLibc(source.GetDirectoryPathString());
  const std::optional<std::string> to = PathForLibc(target.GetDirectoryPathString());
  if (!from || !to) return E_FAIL;
  host::TreeOutcome done;
  const host::Transfer transfer = move == FALSE ? host::Transfer::kCopy : host::Transfer::kMove;
  const int error =
      host::MergeTree(*from, *to, transfer, &done, MonitorOf(progress, AsFile(source)));
  if (error != 0 && error != ECANCELED) {
    done.AddFailure({}, error, error == EINVAL ? host::Side::kTarget : host::Side::kSource);
  }
  AddOutcome(source, done, report);
  if (error == ECANCELED) return E_ABORT;
  return error == 0 ? S_OK : E_FAIL;
}

}  // namespace orvik
