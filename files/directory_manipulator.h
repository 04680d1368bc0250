// Operations on folders.
//
// BOOL operations give TRUE for success. What was done before a failure stays done. A link that is
// met is not followed: it is deleted, copied and moved as a link. A folder path that is itself a
// link to a folder is refused by the operations that delete; as the source or the target of a copy
// it stands for that folder.
#pragma once

#include "files/directory_path.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

class CDirectoryManipulator {
 public:
  CDirectoryManipulator() = delete;

  // Creates the folder and every missing folder above it. TRUE when anything stands at the path.
  static BOOL CreateDirectory(const COrvikDirectoryPath& folder);

  // Removes an empty folder; TRUE when nothing stands at the path.
  static BOOL RemoveDirectory(const COrvikDirectoryPath& folder);

  // Deletes the files (not the subfolders) whose names match the pattern (wildcard.h). Goes on
  // after a failure; TRUE only when every deletion succeeded, and when there was nothing to delete.
  static BOOL RemoveFilesFromDirectory(const COrvikDirectoryPath& folder,
                                       const CAtlString& pattern);

  // Empties the folder at every depth; goes on after a failure. Locks, and read-only folders of
  // this user, are no obstacle. The folder itself stays.
  static BOOL RemoveAllFilesAndSubDirectories(const COrvikDirectoryPath& folder);

  // The same and then removes the folder; the result tells whether the folder is gone.
  static BOOL RemoveDirectoryAndContents(const COrvikDirectoryPath& folder);

  // Copies the content of the source into the target, which is made with its parents; existing
  // files of the same name are replaced. With `move` the files are moved, an existing target file
  // stays, and the source keeps its emptied folders. Failures of single files are not reported,
  // and neither are folders that cannot be read. E_FAIL when the source does not exist, and when
  // the target lies inside the source (nothing is copied then).
  static HRESULT RecursivelyCopyDirectory(const COrvikDirectoryPath& source,
                                          const COrvikDirectoryPath& target, BOOL move);
};

}  // namespace orvik
