// Rules about the text of paths and file names.
#pragma once

#include <string_view>

#include "strings/atl_string.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Paths as text: taking apart and joining "/"-separated UTF-16 arrays.
//
// Nothing here touches a file. Paths are zero-terminated; a null path gives FALSE, -1 or null.
// Lengths are UTF-16 units; a fixed path buffer holds MAX_PATH of them.
//
//   path        PathFindFileName   PathRemoveFileSpec   GetExtensionIndex
//   /a/b.txt    b.txt              /a                   4
//   /a/b/       b/                 /a                   -1
//   /a          a                  (empty)              -1
//   b           b                  (empty)              -1
//   dir/.hid    .hid               dir                  4

// Behind the last "/" that is followed by another character; the path itself if there is none.
const char16_t* PathFindFileName(const char16_t* path);
inline char16_t* PathFindFileName(char16_t* path) {
  return const_cast<char16_t*>(PathFindFileName(static_cast<const char16_t*>(path)));
}
// Always null.
inline char* PathFindFileNameA(const char*) {
  return nullptr;
}

// Removes trailing "/", then cuts the path at its last "/". FALSE for an empty path.
BOOL PathRemoveFileSpec(char16_t* path);

// Joins with one "/", unless one of the two already has it there (if both have it, both are kept).
// The result is cut at MAX_PATH units, so the buffer needs MAX_PATH + 1. FALSE, and nothing
// changed, when the first path is longer than MAX_PATH - 1.
BOOL PathAppend(char16_t* path, const char16_t* more);

// Removes every trailing "/", but not the first character; returns the terminator.
char16_t* PathRemoveBackslash(char16_t* path);
// Appends a "/" unless the path ends in one or is empty. Returns the path.
char16_t* PathAddBackslash(char16_t* path);

// Removes "." components, and each ".." together with the component before it; a ".." at the start
// is removed alone. `out` needs as much room as the path and may be the path. FALSE for an empty
// path.
//
//   /a/./b -> /a/b    /a/../b -> /b    /a/b/.. -> /a    ../a -> /a    /a//../b -> /a/b
BOOL PathCanonicalize(char16_t* out, const char16_t* path);

// The index of the last "." after the last "/"; -1 when there is none.
int GetExtensionIndex(const char16_t* path);
int GetExtensionIndexA(const char* path);
// A pointer to that ".", or null.
const char16_t* PathFindExtension(const char16_t* path);
inline char16_t* PathFindExtension(char16_t* path) {
  return const_cast<char16_t*>(PathFindExtension(static_cast<const char16_t*>(path)));
}
// Cuts the path at that "."; returns its index, or -1.
int PathRemoveExtension(char16_t* path);
int PathRemoveExtensionA(char* path);
// Replaces the text after that ".". FALSE, and nothing changed, if there is none or the result
// would exceed MAX_PATH - 1 units.
BOOL PathRenameExtension(char16_t* path, const char16_t* extension);

// Rules about the text of paths and file names.
// Pure functions: they do not look at the disk and cannot fail. Lengths and indices count UTF-16
// units.
// Pure functions: none looks at the disk and none fails. Lengths and indices count UTF-16 units.
//
//   FixFolderPathForPlatform      C:\Users\x\  ->  C:/Users/x
//                                 /a//         ->  /a/
//                                 /            ->  (empty)
//   FixFilePathInvalidCharacters  C:\a?b:c     ->  C:\abc
//                                 a:b\c        ->  ab\c
//   CleanupPathNameBecause...     C:\x\D:\y    ->  D:\y

// Every "\" becomes "/", then one trailing "/" is removed.
CAtlString FixFolderPathForPlatform(const CAtlString& path);

// The same for the path of a file.
CAtlString FixFilePathForPlatform(const CAtlString& path);

// FALSE when the name contains one of |><?*": ; slashes are ignored.
BOOL FileNameIsValidForAllPlatforms(const CAtlString& name);

// FALSE when the path contains one of |><?*" or a colon outside a drive prefix (C:\).
BOOL FilePathIsValidForAllPlatforms(const CAtlString& path);

// Remove the characters that the two tests above refuse.
void FixFileNameInvalidCharacters(CAtlString& name);
void FixFilePathInvalidCharacters(CAtlString& path);

// If a full path was pasted behind another one (the last colon has an index above 3 and is followed
// by a backslash), keeps only the pasted path.
void CleanupPathNameBecauseWindowsHasBugs(CAtlString& path);

// Matching of file names against a pattern with "*" and "?".
//
//   pattern   matches      does not match
//   *         every name
//   data?     data1        data
//   *.txt     a.txt        a.b.txt

// "?" matches any one unit. "*" matches the units up to the first one that equals the pattern's
// next unit, and does not try a later one; before "?" it matches nothing, at the end everything.
// Every other unit matches itself, in the same case only.
bool MatchesWildcard(std::u16string_view name, std::u16string_view pattern);

}  // namespace orvik
