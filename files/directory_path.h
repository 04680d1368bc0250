// The path of a folder as a value, and the listing of folders.
//
// The text has the form of a file's path (file_path.h): full POSIX, no trailing "/". The root is
// the empty path with a name added: AddDirectoryToPath of "tmp" on the empty path gives "/tmp".
//
// The Create... functions return names and create nothing, so two callers may get the same name.
// Create the file exclusively (open with O_EXCL, fopen with "x", CreateFile with CREATE_NEW; mkdir
// for a folder) and ask for the next name if it exists already. Then no two processes use the same
// file.
#pragma once

#include "files/file_path.h"
#include "platform/core_foundation/base.h"
#include "strings/atl_array.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

class Progress;
struct TreeReport;

class COrvikDirectoryPath : public PathValue<COrvikDirectoryPath> {
 public:
  COrvikDirectoryPath() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): callers pass texts as paths everywhere.
  COrvikDirectoryPath(const CAtlString& path);
  static COrvikDirectoryPath CreateDirectoryPath(const CAtlString& path) { return path; }
  // As for files (file_path.h): 8-bit text is ISO 8859-1, not the bytes on disk.
  template <IsArrayOf<char> Bytes>
  [[deprecated(
      "8-bit text is taken as ISO 8859-1: use PathFromBytes")]] explicit COrvikDirectoryPath(const Bytes&
                                                                                                 text)
      : COrvikDirectoryPath(CAtlString(text)) {}
  template <IsArrayOf<char> Bytes>
  [[deprecated("8-bit text is taken as ISO 8859-1: use PathFromBytes")]] static COrvikDirectoryPath
  CreateDirectoryPath(const Bytes& text) {
    return CreateDirectoryPath(CAtlString(text));
  }

  CAtlString GetDirectoryPathString() const { return path_; }
  // The path in ISO 8859-1; other characters become "?".
  CAtlStringA GetDirectoryPathStringA() const;

  // TRUE when anything exists at the path, even a file.
  BOOL DirectoryExists() const;

  // Appends "/" and `name`, which may hold several components; an empty name changes nothing.
  void AddDirectoryToPath(const CAtlString& name);
  // Cuts the path at its last "/"; FALSE when it has none.
  BOOL RemoveLastSubdirectoryFromPath();
  CAtlString GetLastDirectoryName() const;
  // The path of a file in this folder.
  COrvikFilePath CreateFilePath(const CAtlString& name) const;

  // TRUE when this path begins with `other` ignoring case. A path is inside itself, and /a/bc
  // counts as inside /a/b.
  BOOL IsSubdirectoryOf(const COrvikDirectoryPath& other) const;

  BOOL IsValidForCrossPlatform() const;
  void MakeValidForCrossPlatform();
  // Always TRUE; nothing is tested.
  BOOL CanDirectoryBeWrittenTo() const;

  // Sorts ascending by GetLastDirectoryName, by code unit. Equal names keep their order.
  static void SortPaths(CAtlArray<COrvikDirectoryPath>& paths);

  // The first of name, name1, name2, ... that does not exist in `parent`.
  static COrvikDirectoryPath CreateUniqueSubDirectoryPath(const COrvikDirectoryPath& parent,
                                                          const CAtlString& name);
  // The first of "name.ext", "name 2.ext", "name 3.ext", ... that does not exist in `folder`. The
  // dot of the extension may be missing. The name alone when the folder does not exist.
  static COrvikFilePath CreateUniqueFilePath(const COrvikDirectoryPath& folder,
                                             const CAtlString& name, const CAtlString& extension);
  // "name.ext" in this folder if it does not exist, else "name(N).ext" with N from rand; the
  // extension includes its dot.
  COrvikFilePath CreateTempFileNameInDirectory(const CAtlString& name,
                                               const CAtlString& extension) const;

  // Standard folders. These functions create nothing.
  static COrvikDirectoryPath GetTempDirectoryPath();
  static COrvikDirectoryPath GetORVIKDirectoryPath();
  static COrvikDirectoryPath GetApplicationTempFileDirectoryPath(const CAtlString& app_name);
  static COrvikDirectoryPath GetPagewellTempDirectoryPath();
  // The folder for temporary files: the one that was set, else GetTempDirectoryPath. Set it before
  // other threads ask for temporary names.
  static void SetTempFileDirectoryPath(const COrvikDirectoryPath& folder) {
    GlobalTempFilePath() = folder.path_;
  }
  static COrvikDirectoryPath GetTempFileDirectoryPath();

  // Append the entries whose names match the pattern (path_text.h). Names are matched and returned
  // in Unicode's composed form; if a second entry has exactly that name on disk, the name is
  // returned as spelled on disk. A "\" in a name on disk becomes the unit U+DC5C, because "\"
  // separates components in a path. So every returned path leads to its file. A link never counts
  // as a folder and is not followed.
  //
  // Subfolders, with `recursive` at every depth; afterwards the whole array is in SortPaths order.
  // `report` (may be null) names each subfolder that could not be read, and `progress` (may be
  // null) watches and can stop the search; the entries found so far are listed.
  void ListSubDirectories(const CAtlString& pattern, CAtlArray<COrvikDirectoryPath>& folders,
                          BOOL recursive, TreeReport* report = nullptr,
                          Progress* progress = nullptr) const;
  // All other entries of this folder, in the file system's order. 0 when the folder does not exist,
  // else the platform's status of opening or reading it. `progress` (may be null) watches and can
  // stop the search; then the entries found so far are listed, and the status is that of ECANCELED
  // (errno_status.h).
  OSErr FindFilesInDirectory(const CAtlString& pattern, CAtlArray<COrvikFilePath>& files,
                             Progress* progress = nullptr) const;

  // The folder `name` inside `folder` (AddDirectoryToPath). For a file, use CreateFilePath.
  friend COrvikDirectoryPath operator/(COrvikDirectoryPath folder, const CAtlString& name) {
    folder.AddDirectoryToPath(name);
    return folder;
  }

 private:
  static CAtlString& GlobalTempFilePath();
};

// The edition of the application. Set at start-up, before other threads read it.

class CPagewellEditionHelper {
 public:
  CPagewellEditionHelper() = delete;

  // Student mode changes the names of the temporary folders (GetPagewellTempDirectoryPath).
  static void SetPagewellStudentMode(bool on) { m_bPagewellStudentMode = on; }
  static bool IsPagewellStudentMode() { return m_bPagewellStudentMode; }

  // Whether student mode runs from a USB stick, and the folder installed there. Only stored here.
  static void SetPagewellStudentUSBMode(bool on) { m_bPagewellStudentUSBMode = on; }
  static bool IsPagewellStudentUSBMode() { return m_bPagewellStudentUSBMode; }
  static void SetPagewellStudentUSBInstallDirectory(const COrvikDirectoryPath& folder) {
    USBInstallDir() = folder;
  }
  static COrvikDirectoryPath GetPagewellStudentUSBInstallDirectory() { return USBInstallDir(); }

 private:
  static bool m_bPagewellStudentMode;
  static bool m_bPagewellStudentUSBMode;
  static COrvikDirectoryPath& USBInstallDir();
};

}  // namespace orvik

template <>
struct std::hash<orvik::COrvikDirectoryPath> : orvik::PathHash<orvik::COrvikDirectoryPath> {};
