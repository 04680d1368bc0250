#include "files/directory_manipulator.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/file_manipulator.h"
#include "files/folder_walk.h"
#include "files/path_arguments.h"
#include "files/windows_file_refs.h"
#include "files/windows_files.h"

namespace orvik {
namespace {

bool IsLink(const COrvikDirectoryPath& folder) {
  const std::optional<std::string> bytes = PathForLibc(folder.GetDirectoryPathString());
  struct stat record;
  return bytes && lstat(bytes->c_str(), &record) == 0 && S_ISLNK(record.st_mode);
}

// The path in which a folder that need not exist would really be: links are resolved as far as it
// exists, and ".." of what does not exist is taken away with what stands before it. Nothing when
// that cannot be found out.
std::optional<std::string> RealPath(std::string path) {
  if (path.empty()) return std::nullopt;
  if (path.front() != '/') path = "./" + path;
  std::vector<std::string> missing;  // components, the last one first
  std::unique_ptr<char, decltype(&std::free)> real(nullptr, &std::free);
  while (real.reset(realpath(path.c_str(), nullptr)), !real) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || path == "/") return std::nullopt;
    missing.push_back(path.substr(slash + 1));
    path.resize(std::max<std::size_t>(slash, 1));
  }
  std::string resolved = real.get();
  bool went_up = false;
  for (; !missing.empty(); missing.pop_back()) {
    if (missing.back() == "..") {
      resolved.resize(std::max<std::size_t>(resolved.rfind('/'), 1));
      went_up = true;
    } else if (!missing.back().empty() && missing.back() != ".") {
      if (resolved != "/") resolved += '/';
      resolved += missing.back();
    }
  }
  // What lies beside the missing part may be a link again.
  return went_up ? RealPath(resolved) : resolved;
}

// Whether `folder`, which need not exist, is `other` or lies in it, links and other names of the
// same folder taken into account. Also true when that cannot be found out.
bool LiesIn(const COrvikDirectoryPath& folder, const COrvikDirectoryPath& other) {
  const std::optional<std::string> inner = PathForLibc(folder.GetDirectoryPathString());
  const std::optional<std::string> outer = PathForLibc(other.GetDirectoryPathString());
  struct stat wanted;
  if (!inner || !outer || stat(outer->c_str(), &wanted) != 0) return true;
  std::optional<std::string> path = RealPath(*inner);
  if (!path) return true;
  for (;;) {
    struct stat record;
    if (stat(path->c_str(), &record) == 0 && record.st_dev == wanted.st_dev &&
        record.st_ino == wanted.st_ino) {
      return true;
    }
    if (*path == "/") return false;
    path->resize(std::max<std::size_t>(path->rfind('/'), 1));
  }
}

struct Entries {
  CAtlArray<COrvikFilePath> files;
  CAtlArray<COrvikDirectoryPath> folders;  // sorted
};

Entries ListEntries(const COrvikDirectoryPath& folder) {
  Entries entries;
  WalkFolder(folder, [&](std::u16string_view name, bool is_folder) {
    if (is_folder) {
      COrvikDirectoryPath subfolder = folder;
      subfolder.AddDirectoryToPath(PathFromUnits(name));
      entries.folders.Add(subfolder);
    } else {
      entries.files.Add(folder.CreateFilePath(PathFromUnits(name)));
    }
  });
  COrvikDirectoryPath::SortPaths(entries.folders);
  return entries;
}

// `root` is the folder with which the copy began.
HRESULT CopyTree(const COrvikDirectoryPath& root, const COrvikDirectoryPath& source,
                 const COrvikDirectoryPath& target, BOOL move) {
  if (source.DirectoryExists() == FALSE) return E_FAIL;
  CDirectoryManipulator::CreateDirectory(target);
  const Entries entries = ListEntries(source);
  for (const COrvikFilePath& file : entries.files) {
    const COrvikFilePath copy = target.CreateFilePath(file.GetFileName());
    if (move != FALSE) {
      CFileManipulator::MoveFileTo(file, copy);
    } else {
      CFileManipulator::CopyFileTo(file, copy, FALSE);
    }
  }
  for (const COrvikDirectoryPath& folder : entries.folders) {
    COrvikDirectoryPath copy = target;
    copy.AddDirectoryToPath(folder.GetLastDirectoryName());
    // A link there may lead back into what is being copied, which then would not end.
    if (IsLink(copy) && LiesIn(copy, root)) return E_FAIL;
    const HRESULT result = CopyTree(root, folder, copy, move);
    if (result < 0) return result;
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
  return CopyTree(source, source, target, move);
}

}  // namespace orvik
