// Rules about the text of paths and file names.
//
// Pure functions: none looks at the disk and none fails. Lengths and indices count UTF-16 units.
//
//   FixFolderPathForPlatform      C:\Users\x\  ->  C:/Users/x
//                                 /a//         ->  /a/
//                                 /            ->  (empty)
//   FixFilePathInvalidCharacters  C:\a?b:c     ->  C:\abc
//                                 a:b\c        ->  ab\c
//   CleanupPathNameBecause...     C:\x\D:\y    ->  D:\y
#pragma once

#include "strings/atl_string.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Every "\" becomes "/", then one trailing "/" is removed.
CAtlString FixFolderPathForPlatform(const CAtlString& path);

// The same for the path of a file.
CAtlString FixFilePathForPlatform(const CAtlString& path);

// FALSE when the name holds one of |><?*": ; slashes are not looked at.
BOOL FileNameIsValidForAllPlatforms(const CAtlString& name);

// FALSE when the path holds one of |><?*" or a colon that is not the one of a drive prefix (C:\).
BOOL FilePathIsValidForAllPlatforms(const CAtlString& path);

// Removes what the two tests above refuse.
void FixFileNameInvalidCharacters(CAtlString& name);
void FixFilePathInvalidCharacters(CAtlString& path);

// Of a path that was pasted behind another one (a last colon behind index 3 with a backslash after
// it) keeps the pasted one.
void CleanupPathNameBecauseWindowsHasBugs(CAtlString& path);

}  // namespace orvik
