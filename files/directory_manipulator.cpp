#include "files/directory_manipulator.h"

#include <optional>
#include <string>
#include <vector>

#include "files/file_manipulator.h"
#include "files/folder_walk.h"
#include "files/path_arguments.h"
#include "files/windows_file_paths.h"
#include "files/windows_file_refs.h"
#include "files/windows_files.h"
#include "platform/carbon/file_copy.h"
#include "text/transcoding.h"
#include "platform/carbon/errno_status.h"
#include "host/folder_nesting.h"

namespace orvik {
namespace {

bool IsLink(const COrvikDirectoryPath& folder) {
  FSRef ref;
  return FindFileBriefly(PathArgument(folder.GetDirectoryPathString()), &ref) == 0 &&
         ref.kind == kSymbolicLink;
}

// Also true when that cannot be found out.
bool LiesIn(const COrvikDirectoryPath& folder, const COrvikDirectoryPath& other) {
  const std::optional<std::string> inner = PathForLibc(folder.GetDirectoryPathString());
  const std::optional<std::string> outer = PathForLibc(other.GetDirectoryPathString());
  return !inner || !outer || host::LiesInFolder(*inner, *outer);
}

// Names as WalkFolder tells them.
struct Entries {
  std::vector<std::u16string> files;
  std::vector<std::u16string> special;
  CAtlArray<COrvikDirectoryPath> folders;  // sorted
};

Entries ListEntries(const COrvikDirectoryPath& folder) {
  Entries entries;
  WalkFolder(folder, [&](std::u16string_view name, EntryKind kind) {
    if (kind == EntryKind::kFolder) {
      COrvikDirectoryPath subfolder = folder;
      subfolder.AddDirectoryToPath(PathFromUnits(name));
      entries.folders.Add(subfolder);
    } else {
      (kind == EntryKind::kFile ? entries.files : entries.special).emplace_back(name);
    }
  });
  COrvikDirectoryPath::SortPaths(entries.folders);
  return entries;
}

struct FolderPair {
  COrvikDirectoryPath source;
  COrvikDirectoryPath target;
};

void CopyFiles(const FolderPair& pair, const std::vector<std::u16string>& names) {
  if (names.empty()) return;
  FSRef from, to;
  FSFolderCopier copier;
  const bool is_open =
      FindFileBriefly(PathArgument(pair.source.GetDirectoryPathString()), &from) == 0 &&
      FindFileBriefly(PathArgument(pair.target.GetDirectoryPathString()), &to) == 0 &&
      copier.Open(&from, &to) == 0;
  for (const std::u16string& name : names) {
    // Another name may be spelled otherwise on disk, there as well as here.
    if (is_open && IsAscii(std::u16string_view(name)) &&
        copier.CopyFile(name.size(), name.data(), kBusyFileType) != dupFNErr) {
      continue;
    }
    const CAtlString leaf = PathFromUnits(name);
    CFileManipulator::CopyFileTo(pair.source.CreateFilePath(leaf), pair.target.CreateFilePath(leaf),
                                 FALSE);
  }
}

void MoveFiles(const FolderPair& pair, const std::vector<std::u16string>& names) {
  for (const std::u16string& name : names) {
    const CAtlString leaf = PathFromUnits(name);
    CFileManipulator::MoveFileTo(pair.source.CreateFilePath(leaf),
                                 pair.target.CreateFilePath(leaf));
  }
}

HRESULT CopyTree(const COrvikDirectoryPath& source, const COrvikDirectoryPath& target, BOOL move) {
  std::vector<FolderPair> waiting{{source, target}};
  while (!waiting.empty()) {
    const FolderPair pair = std::move(waiting.back());
    waiting.pop_back();
    // A link there may lead back into what is being copied, which then would not end.
    if (IsLink(pair.target) && LiesIn(pair.target, source)) return E_FAIL;
    if (pair.source.DirectoryExists() == FALSE) return E_FAIL;
    // Mostly the folder alone is missing.
    if (orvik::CreateDirectory(PathArgument(pair.target.GetDirectoryPathString()), nullptr) ==
        FALSE) {
      CDirectoryManipulator::CreateDirectory(pair.target);
    }
    const Entries entries = ListEntries(pair.source);
    if (move == FALSE) {
      CopyFiles(pair, entries.files);
    } else {
      MoveFiles(pair, entries.files);
      MoveFiles(pair, entries.special);
    }
    for (std::size_t i = entries.folders.GetCount(); i-- > 0;) {
      COrvikDirectoryPath copy = pair.target;
      copy.AddDirectoryToPath(entries.folders[i].GetLastDirectoryName());
      waiting.push_back({entries.folders[i], copy});
    }
  }
  return S_OK;
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
                                                     const CAtlString& pattern) {
  if (IsLink(folder)) return FALSE;
  CAtlArray<COrvikFilePath> files;
  folder.FindFilesInDirectory(pattern, files);
  BOOL all = TRUE;
  for (const COrvikFilePath& file : files) {
    if (CFileManipulator::DeleteFile(file) == FALSE) all = FALSE;
  }
  return all;
}

BOOL CDirectoryManipulator::RemoveAllFilesAndSubDirectories(const COrvikDirectoryPath& folder) {
  if (IsLink(folder)) return FALSE;
  // What stands in the way of nothing goes at once; entry by entry only what is left.
  FSRef ref;
  FSDeleteFolderState state;
  if (GetFSRefFromFilename(PathArgument(folder.GetDirectoryPathString()), &ref, false, false) ==
      0) {
    FSDeleteFolderLevel(&ref, &state);
    if (state.result == 0) return TRUE;
  }
  BOOL all = TRUE;
  CAtlArray<COrvikDirectoryPath> subfolders;
  folder.ListSubDirectories(u"*", subfolders, FALSE);
  for (const COrvikDirectoryPath& subfolder : subfolders) {
    if (RemoveAllFilesAndSubDirectories(subfolder) == FALSE) all = FALSE;
    if (RemoveDirectory(subfolder) == FALSE) all = FALSE;
  }
  if (RemoveFilesFromDirectory(folder, u"*") == FALSE) all = FALSE;
  return all;
}

BOOL CDirectoryManipulator::RemoveDirectoryAndContents(const COrvikDirectoryPath& folder) {
  RemoveAllFilesAndSubDirectories(folder);
  return RemoveDirectory(folder);
}

HRESULT CDirectoryManipulator::RecursivelyCopyDirectory(const COrvikDirectoryPath& source,
                                                        const COrvikDirectoryPath& target,
                                                        BOOL move) {
  if (source.DirectoryExists() == FALSE || LiesIn(target, source)) return E_FAIL;
  return CopyTree(source, target, move);
}

}  // namespace orvik
