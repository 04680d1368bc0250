// Operations on files.
//
// BOOL operations give TRUE for success; the others 0 (S_OK), E_INVALIDARG, E_UNEXPECTED. Links,
// overwriting and deleting follow windows_files.h unless stated. Functions that read or measure a
// file open regular files only: never a pipe, a socket or a block device. A new file belongs to the
// caller, also when root makes it in another user's folder.
//
// Alerts block the calling thread. One that cannot be shown refuses the operation.
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

  // Replaces the texts of the alerts; to be called before other threads may show one. Each of the
  // two formats holds one %s for the path, and %% for a per cent sign. A format that holds anything
  // else after a per cent sign, or no %s, or several, is not used: the built-in text is shown.
  static void InitializeLocalizedStrings(const CAtlString& delete_confirm_format,
                                         const CAtlString& overwrite_confirm_format,
                                         const CAtlString& delete_text,
                                         const CAtlString& cancel_text, const CAtlString& copy_text,
                                         const CAtlString& overwrite_text);

  // fopen with a C mode string; null on failure (errno has the reason) and for anything but a
  // regular file or a character device. Links are followed. For writing, another user's link is
  // refused in a folder that others can change (EPERM), and another user's file in a sticky folder
  // (EACCES). The caller closes the file.
  static std::FILE* OpenFile(const COrvikFilePath& file, const char* mode);

  // lstat; -1 on failure.
  static int StatFile(const COrvikFilePath& file, struct stat* record);

  // Reads the whole file into a new array, which the caller releases with delete[], and returns the
  // bytes read. 0 and a null buffer for an empty file, on failure, and for 4 GiB or more. A file of
  // size 0 with content, as in /proc, is read to its end.
  static unsigned long ReadFileIntoBuffer(const COrvikFilePath& file, unsigned char*& buffer);

  // Puts the file's bytes behind `prefix` (may be null) into `text`; the old content is replaced.
  // The text ends at the first NUL. E_INVALIDARG when the file cannot be opened, E_UNEXPECTED when
  // not all of it could be read (2 GiB is the limit).
  static HRESULT ReadAsciiFileIntoAsciiString(const COrvikFilePath& file, CAtlStringA& text,
                                              const char* prefix);

  // Creates the file or replaces its content. E_INVALIDARG when there is nothing to write (the file
  // is not touched then), it cannot be opened, or not all was written. Readers see the old content
  // or the new one. Where no new file can take the place of the old one (the file is a mount point,
  // as in containers, has several hard links, or lies in a folder that takes no new files), the
  // bytes are written in place: readers may then see a part, and a crash may leave one.
  [[nodiscard("a failure may leave a part of the bytes")]] static HRESULT WriteAsciiStringToFile(
      const COrvikFilePath& file, const char* bytes, unsigned long count);

  // CopyFile of windows_files.h, to a file or under the same name into a folder. `report` (may be
  // null) says why the file was not copied (EOPNOTSUPP for a pipe, socket or device), and
  // `progress` (may be null) watches and stops the copy.
  [[nodiscard("FALSE: there is no copy")]] static BOOL CopyFileTo(const COrvikFilePath& source,
                                                                  const COrvikFilePath& target,
                                                                  BOOL fail_if_exists,
                                                                  TreeReport* report = nullptr,
                                                                  Progress* progress = nullptr);
  [[nodiscard("FALSE: there is no copy")]] static BOOL CopyFileTo(
      const COrvikFilePath& source, const COrvikDirectoryPath& target_folder, BOOL fail_if_exists);
  // Replaces an existing target; with `ask`, only after the user said so.
  [[nodiscard("FALSE: there is no copy")]] static BOOL CopyFile(const COrvikFilePath& source,
                                                                const COrvikFilePath& target,
                                                                BOOL ask);

  // Moves a file or a folder. Makes missing folders of the target; an existing target is not
  // replaced. `report` (may be null) says why it was not moved, and `progress` (may be null)
  // watches and stops a move to another volume.
  [[nodiscard("FALSE: the file was not moved")]] static BOOL MoveFileTo(
      const COrvikFilePath& source, const COrvikFilePath& target, TreeReport* report = nullptr,
      Progress* progress = nullptr);

  // Deletes what exists at the path, a folder with all it holds, a link as a link; read-only files
  // too. TRUE when nothing is there. With `ask` only after the user said so.
  //
  // With `to_trash` the file goes to the trash of its volume, which is made when there is none,
  // under a name that is free there ("notes 14-05-09.txt", then "notes 14-05-09-1.txt", ...); a
  // name of more than 245 bytes is shortened there, its info file keeps the whole of it. When the
  // volume can have no trash, the file goes to the home trash, and is deleted when that cannot be
  // had either.
  //
  // `report` (may be null) says what could not be deleted or moved, and `progress` (may be null)
  // watches and stops the deletion of a folder, or the move to the home trash. Nothing is deleted
  // after that move was stopped.
  //
  // A trap: CreateFilePath with an empty name gives the path of the folder, which this call deletes
  // with all it holds. RemoveFile deletes files only.
  static BOOL DeleteFile(const COrvikFilePath& file, BOOL ask = FALSE, BOOL to_trash = FALSE,
                         TreeReport* report = nullptr, Progress* progress = nullptr);

  // Deletes a file or link, never a folder; read-only and locked files too. TRUE when nothing is
  // there; FALSE for the empty path and for a folder.
  static BOOL RemoveFile(const COrvikFilePath& file);

  // The trash folder of the volume an existing file lies on; FALSE when there is none.
  static BOOL GetTrashPathForFile(const COrvikFilePath& file, COrvikDirectoryPath& folder);

  // A standard folder by its number in the Windows shell (5, 10, 12, 16, 25, 26, 28, 35, 38) with
  // `sub_name` added, created when missing. Any other number, and a folder that the platform does
  // not know, gives GetApplicationTempFileDirectoryPath(sub_name), which is not created.
  static COrvikDirectoryPath GetSpecialDirectory(int folder, const CAtlString& sub_name);

  // An Internet shortcut (.url): "[InternetShortcut]\nURL=...\n" in ISO 8859-1. An existing file is
  // left as it is (S_OK), and so is a link that leads nowhere: nothing is written through it.
  // E_INVALIDARG for an empty path or URL, for a folder, and when the file cannot be written; no
  // file is left behind then.
  static HRESULT CreateURLShortcut(const CAtlString& url, const COrvikFilePath& shortcut);

  // The URL of such a file or of a property-list text with the key URL; empty when there is none.
  static CAtlString ResolveURLShortcut(const COrvikFilePath& shortcut);

  // The same for more kinds of files: those above in UTF-8, too, or in UTF-16 with a byte-order
  // mark, and links of the desktop (.desktop files of the freedesktop Desktop Entry format,
  // Type=Link), whose escapes are undone. A URL that is not UTF-8 is taken as ISO 8859-1, as
  // CreateURLShortcut writes it, unless the file has a mark or is a .desktop file. Empty when there
  // is no URL or the text is malformed.
  static CAtlString ResolveLinkFile(const COrvikFilePath& link);

  // A shortcut to a file (.lnk): the target's path in UTF-8, or in the bytes that the names on disk
  // have. Replaces what the file held, as WriteAsciiStringToFile does. E_INVALIDARG for the empty
  // path, and for one with a "\" in a name, which the shortcut could not lead to.
  static HRESULT CreateShortcut(const COrvikFilePath& shortcut, const COrvikFilePath& target);

  // The target; the empty path when the shortcut cannot be read.
  static COrvikFilePath ResolveShortcut(const COrvikFilePath& shortcut);

 private:
  struct AlertTexts;
  static AlertTexts& Texts();
};

}  // namespace orvik
