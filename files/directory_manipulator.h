// Operations on folders.
//
// BOOL operations give TRUE for success. Changes made before a failure stay. Links are not
// followed: they are deleted, copied and moved as links. If the given folder is itself a link to a
// folder, the operations that delete refuse it, and a copy uses the folder that it leads to. The
// operations that delete work on open folders, so that they never leave the tree, even if other
// processes change it meanwhile; they refuse the root folder.
//
// A TreeReport, if given, gets the counts and the failures of the operation added. A Progress, if
// given, watches the operation and can stop it. Both may be null.
#pragma once

#include "files/directory_path.h"
#include "files/progress.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

class CDirectoryManipulator {
 public:
  CDirectoryManipulator() = delete;

  // Creates the folder and every missing folder above it. TRUE when anything exists at the path.
  static BOOL CreateDirectory(const COrvikDirectoryPath& folder);

  // Removes an empty folder; TRUE when nothing exists at the path.
  static BOOL RemoveDirectory(const COrvikDirectoryPath& folder);

  // Deletes the files (not the subfolders) whose names match the pattern (path_text.h: "*.log" does
  // not match "a.b.log"). Goes on after a failure. TRUE only when every deletion succeeded, or when
  // no file matched. FALSE when the folder cannot be listed.
  static BOOL RemoveFilesFromDirectory(const COrvikDirectoryPath& folder, const CAtlString& pattern,
                                       TreeReport* report = nullptr, Progress* progress = nullptr);

  // Empties the folder at every depth; goes on after a failure. Locks and this user's read-only
  // folders are overridden, and restored on folders that stay. The folder itself stays. TRUE when
  // it is empty afterwards or does not exist.
  static BOOL RemoveAllFilesAndSubDirectories(const COrvikDirectoryPath& folder,
                                              TreeReport* report = nullptr,
                                              Progress* progress = nullptr);

  // The same and then removes the folder; TRUE when the folder is gone.
  static BOOL RemoveDirectoryAndContents(const COrvikDirectoryPath& folder,
                                         TreeReport* report = nullptr,
                                         Progress* progress = nullptr);

  // Copies the content of the source into the target, which is made with its parents. Existing
  // files of the same name are replaced, each when its copy is complete. With `move` the files are
  // moved instead, an existing target file stays, and the source keeps its emptied folders. Special
  // files are moved, not copied. A move preserves hard links within the tree. In the target, a link
  // to a folder is followed if it belongs to this user or to root, or lies in a folder that no
  // other user can change. Single files or folders that could not be copied or read do not change
  // the result; the report lists them. E_FAIL when the source does not exist, and when the target
  // lies inside the source (then nothing is copied). E_ABORT when `progress` stopped it.
  [[nodiscard("a failure copies nothing, or a part")]] static HRESULT RecursivelyCopyDirectory(
      const COrvikDirectoryPath& source, const COrvikDirectoryPath& target, BOOL move,
      TreeReport* report = nullptr, Progress* progress = nullptr);
};

}  // namespace orvik
