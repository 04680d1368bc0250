// Operations on files.
//
// BOOL operations give TRUE for success; the others give 0 (S_OK), E_INVALIDARG or E_UNEXPECTED.
// Links, overwriting and deleting follow windows_files.h unless stated. Functions that read or
// measure a file open regular files only: never a pipe, a socket or a block device. A new file
// belongs to the caller, even if root makes it in another user's folder.
//
// Alerts block the calling thread. If an alert cannot be shown, the operation is refused.
#pragma once

#include <sys/stat.h>

#include <cstdio>

#include "files/directory_path.h"
#include "files/file_path.h"
#include "files/progress.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

class CFileManipulator {
 public:
  CFileManipulator() = delete;

  // Replaces the texts of the alerts; call it before other threads may show one. Each of the two
  // formats has one %s for the path, and %% for a per cent sign. For a format with other
  // specifiers, without %s or with several, the built-in text is shown.
  static void InitializeLocalizedStrings(const CAtlString& delete_confirm_format,
                                         const CAtlString& overwrite_confirm_format,
                                         const CAtlString& delete_text,
                                         const CAtlString& cancel_text, const CAtlString& copy_text,
                                         const CAtlString& overwrite_text);

  // fopen with a C mode string. Null on failure (errno has the reason), and for objects other than
  // regular files and character devices. Links are followed. For writing, another user's link is
  // refused in a folder that others can change (EPERM), and another user's file in a sticky folder
  // (EACCES). The caller closes the file.
  static std::FILE* OpenFile(const COrvikFilePath& file, const char* mode);

  // lstat; -1 on failure.
  static int StatFile(const COrvikFilePath& file, struct stat* record);

  // Reads the whole file into a new array, which the caller releases with delete[], and returns the
  // bytes read. 0 and a null buffer for an empty file, on failure, and for 4 GiB or more. A file of
  // size 0 with content, as in /proc, is read to its end.
  static unsigned long ReadFileIntoBuffer(const COrvikFilePath& file, unsigned char*& buffer);

  // Replaces `text` by `prefix` (may be null) and the file's bytes after it. The text ends at the
  // first NUL. E_INVALIDARG when the file cannot be opened, E_UNEXPECTED when it could not be read
  // completely (the limit is 2 GiB).
  static HRESULT ReadAsciiFileIntoAsciiString(const COrvikFilePath& file, CAtlStringA& text,
                                              const char* prefix);

  // Creates the file or replaces its content. E_INVALIDARG when `bytes` is null or `count` is 0
  // (then the file is not touched), when the file cannot be opened, and when not all bytes were
  // written. Readers see the old or the new content. If no new file can replace the old one (the
  // file is a mount point, as in containers, has several hard links, or lies in a folder that takes
  // no new files), the bytes are written in place: readers may then see a part of them, and a crash
  // may leave a part.
  [[nodiscard("a failure may leave a part of the bytes")]] static HRESULT WriteAsciiStringToFile(
      const COrvikFilePath& file, const char* bytes, unsigned long count);

  // CopyFile of windows_files.h, to a file, or into a folder under the same name. `report` (may be
  // null) gets the reason why the file was not copied (EOPNOTSUPP for a pipe, socket or device),
  // and `progress` (may be null) watches the copy and can stop it.
  [[nodiscard("FALSE: there is no copy")]] static BOOL CopyFileTo(const COrvikFilePath& source,
                                                                  const COrvikFilePath& target,
                                                                  BOOL fail_if_exists,
                                                                  TreeReport* report = nullptr,
                                                                  Progress* progress = nullptr);
  [[nodiscard("FALSE: there is no copy")]] static BOOL CopyFileTo(
      const COrvikFilePath& source, const COrvikDirectoryPath& target_folder, BOOL fail_if_exists);
  // Replaces an existing target; with `ask`, only after the user confirmed it.
  [[nodiscard("FALSE: there is no copy")]] static BOOL CopyFile(const COrvikFilePath& source,
                                                                const COrvikFilePath& target,
                                                                BOOL ask);

  // Moves a file or a folder. Makes missing folders of the target; an existing target is not
  // replaced. `report` (may be null) gets the reason why it was not moved, and `progress` (may be
  // null) watches a move to another volume and can stop it.
  [[nodiscard("FALSE: the file was not moved")]] static BOOL MoveFileTo(
      const COrvikFilePath& source, const COrvikFilePath& target, TreeReport* report = nullptr,
      Progress* progress = nullptr);

  // Deletes the file, link or folder at the path, a folder with its content; links are not
  // followed. Read-only files are deleted too. TRUE when nothing exists at the path. With `ask`,
  // only after the user confirmed it.
  //
  // With `to_trash` the file goes to the trash of its volume, which is made if missing. There it
  // gets an unused name ("notes 14-05-09.txt", then "notes 14-05-09-1.txt", ...). A name of more
  // than 245 bytes is shortened; its info file keeps the full name. If the volume can have no
  // trash, the file goes to the home trash. If that fails too, the file is deleted.
  //
  // `report` (may be null) lists the entries that could not be deleted or moved. `progress` (may be
  // null) watches the deletion of a folder or the move to the home trash and can stop it. Nothing
  // is deleted after that move was stopped.
  //
  // A trap: CreateFilePath with an empty name returns the path of the folder, and this call deletes
  // the folder with its content. RemoveFile deletes files only.
  static BOOL DeleteFile(const COrvikFilePath& file, BOOL ask = FALSE, BOOL to_trash = FALSE,
                         TreeReport* report = nullptr, Progress* progress = nullptr);

  // Deletes a file or link, never a folder; read-only and locked files too. TRUE when nothing
  // exists at the path; FALSE for the empty path and for a folder.
  static BOOL RemoveFile(const COrvikFilePath& file);

  // The trash folder of the volume of an existing file; FALSE when the volume has none.
  static BOOL GetTrashPathForFile(const COrvikFilePath& file, COrvikDirectoryPath& folder);

  // A standard folder by its number in the Windows shell (5, 10, 12, 16, 25, 26, 28, 35, 38) with
  // `sub_name` added, created if missing. For another number, and if the platform lacks the folder:
  // GetApplicationTempFileDirectoryPath(sub_name), which is not created.
  static COrvikDirectoryPath GetSpecialDirectory(int folder, const CAtlString& sub_name);

  // An Internet shortcut (.url): "[InternetShortcut]\nURL=...\n" in ISO 8859-1. An existing file
  // and a dangling link stay as they are (S_OK). E_INVALIDARG for an empty path or URL, for a
  // folder, and when the file cannot be written; then no file is left behind.
  static HRESULT CreateURLShortcut(const CAtlString& url, const COrvikFilePath& shortcut);

  // The URL of such a file or of a property-list text with the key URL; empty when it has none.
  static CAtlString ResolveURLShortcut(const COrvikFilePath& shortcut);

  // The same for more kinds of files: the files above also in UTF-8, or in UTF-16 with a byte-order
  // mark, and links of the desktop (.desktop files of the freedesktop Desktop Entry format,
  // Type=Link), whose escapes are decoded. A URL that is not valid UTF-8 is taken as ISO 8859-1, as
  // CreateURLShortcut writes it, unless the file has a mark or is a .desktop file. Empty when the
  // file has no URL or is malformed.
  static CAtlString ResolveLinkFile(const COrvikFilePath& link);

  // A shortcut to a file (.lnk): the target's path in UTF-8, or in the bytes of the names on disk.
  // Replaces the file's content, as WriteAsciiStringToFile does. E_INVALIDARG for the empty path,
  // and for a path with a "\" in a name, because ResolveShortcut takes "\" as a separator.
  static HRESULT CreateShortcut(const COrvikFilePath& shortcut, const COrvikFilePath& target);

  // The target of the shortcut; the empty path when the shortcut cannot be read.
  static COrvikFilePath ResolveShortcut(const COrvikFilePath& shortcut);

 private:
  struct AlertTexts;
  static AlertTexts& Texts();
};

}  // namespace orvik
