// Operations on folders.
//
// BOOL operations give TRUE for success. What was done before a failure stays done. A link that is
// met is not followed: it is deleted, copied and moved as a link. A folder path that is itself a
// link to a folder is refused by the operations that delete; as the source or the target of a copy
// it means that folder. The operations that delete work on open folders, so that they never
// leave the tree, whatever others do to it meanwhile; they refuse the root folder.
//
// Where a TreeReport is given, what was done and what failed is added to it. Where a Progress is
// given (both may be null), it watches and stops the operation.
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
  // not match "a.b.log"). Goes on after a failure; TRUE only when every deletion succeeded, and
  // when there was nothing to delete. FALSE when the folder cannot be listed.
  static BOOL RemoveFilesFromDirectory(const COrvikDirectoryPath& folder, const CAtlString& pattern,
                                       TreeReport* report = nullptr, Progress* progress = nullptr);

  // Empties the folder at every depth; goes on after a failure. Locks, and read-only folders of
  // this user, are no obstacle; those of folders that stay are put back. The folder itself stays.
  // TRUE when it is empty then, or does not exist.
  static BOOL RemoveAllFilesAndSubDirectories(const COrvikDirectoryPath& folder,
                                              TreeReport* report = nullptr,
                                              Progress* progress = nullptr);

  // The same and then removes the folder; TRUE when the folder is gone.
  static BOOL RemoveDirectoryAndContents(const COrvikDirectoryPath& folder,
                                         TreeReport* report = nullptr,
                                         Progress* progress = nullptr);

  // Copies the content of the source into the target, which is made with its parents; existing
  // files of the same name are replaced, each when its copy is whole. With `move` the files are
  // moved, an existing target file stays, and the source keeps its emptied folders. Special files
  // are moved, not copied. Files of several names within the tree keep them when they are moved.
  // A link in the target that leads to a folder is followed when it belongs to this user or to
  // root, or lies in a folder that no other user can change. The result does not report single
  // files or folders that could not be copied or read; the report does. E_FAIL when the source does
  // not exist, and when the target lies inside the source (nothing is copied then). E_ABORT when
  // `progress` stopped it.
  [[nodiscard("a failure copies nothing, or a part")]] static HRESULT RecursivelyCopyDirectory(
      const COrvikDirectoryPath& source, const COrvikDirectoryPath& target, BOOL move,
      TreeReport* report = nullptr, Progress* progress = nullptr);
};

}  // namespace orvik
