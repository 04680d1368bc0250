// The path of a file as a value.
//
// A path is one text in full POSIX form: every "\" is turned into "/" and one trailing "/" is
// removed, but relative paths, "//", "." and ".." stay. Nothing is cut: a path may be longer than
// 260 units. The empty path is a valid value. Questions about a file that cannot be examined give
// FALSE, 0 or 0xFFFFFFFF.
//
//   path             GetFileName  GetBaseFileName  GetFileExtension  GetDirectoryPath
//   /a/c.tar.gz      c.tar.gz     c.tar            .gz               /a
//   /a.b/c           c            c                (empty)           /a.b
//   /a/.profile      .profile     (empty)          .profile          /a
//   name             name         name             (empty)           (empty)
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

class COrvikDirectoryPath;
class Progress;
struct TreeReport;

// A path of another library that keeps bytes, such as std::filesystem::path.
template <typename T>
concept HasNativeBytes = requires(const T& path) {
  { path.native() } -> std::convertible_to<std::string_view>;
};

template <typename Path>
struct PathHash {
  std::size_t operator()(const Path& path) const { return std::hash<CAtlString>()(path.path_); }
};

// The common part of file and folder paths: `Path` is COrvikFilePath or COrvikDirectoryPath.
template <typename Path>
class PathValue {
 public:
  BOOL IsEmptyPath() const { return path_.IsEmpty(); }
  void Empty() { path_.Empty(); }

  // Compares the texts ignoring case.
  BOOL IsEqualPath(const Path& other) const { return path_.CompareNoCase(other.path_) == 0; }

  // Whole days since the last modification, rounded towards zero; links are followed. 0 when the
  // file cannot be examined.
  int GetNumberOfDaysOld() const;

  // ---- Paths of other libraries ----

  // Makes a path from the bytes of an outside path, usually UTF-8; every name on disk has a path
  // (path_arguments.h). From a std::filesystem::path: FromPath(path).
  static Path FromBytes(std::string_view bytes);
  template <HasNativeBytes Other>
  static Path FromPath(const Other& path) {
    return FromBytes(path.native());
  }
  // The bytes of the path for system calls (PathForLibc of path_arguments.h); empty for the empty
  // path and when no file can have that name. As a path of another library:
  // ToPath<std::filesystem::path>().
  [[nodiscard]] std::string ToBytes() const;
  template <typename Other>
  [[nodiscard]] Other ToPath() const {
    return Other(ToBytes());
  }

  // The rest of the path below `folder`: empty for the folder itself, no value for a path outside
  // it. Compares whole names unit by unit and does not look at the disk.
  [[nodiscard]] std::optional<CAtlString> RelativeTo(const COrvikDirectoryPath& folder) const;

  // Compare the units of the texts. IsEqualPath ignores case.
  friend bool operator==(const Path& a, const Path& b) { return a.path_ == b.path_; }
  friend std::strong_ordering operator<=>(const Path& a, const Path& b) {
    return a.path_ <=> b.path_;
  }
  // Writes the bytes of the path.
  friend std::ostream& operator<<(std::ostream& out, const Path& path) { return path.Write(out); }
  template <typename Hash>
  friend Hash AbslHashValue(Hash state, const Path& path) {
    return Hash::combine(std::move(state), path.path_);
  }
  friend struct PathHash<Path>;

 protected:
  PathValue() = default;
  explicit PathValue(CAtlString path) : path_(std::move(path)) {}

  CAtlString path_;

 private:
  std::ostream& Write(std::ostream& out) const;
};

class COrvikFilePath : public PathValue<COrvikFilePath> {
 public:
  COrvikFilePath() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): callers pass texts as paths everywhere.
  COrvikFilePath(const CAtlString& path);
  // 8-bit text is taken as ISO 8859-1, so a UTF-8 name beyond ASCII would become a different name.
  // For the bytes of a name on disk or in argv use CAtlString PathFromBytes(bytes)
  // (path_arguments.h).
  template <IsArrayOf<char> Bytes>
  [[deprecated("8-bit text is taken as ISO 8859-1: use PathFromBytes")]] explicit COrvikFilePath(
      const Bytes& text)
      : COrvikFilePath(CAtlString(text)) {}

  // Takes the path out of a "file:" URL: the text that begins 7 units after the start of the first
  // "file:". Percent signs are not decoded. FALSE, and the path unchanged, when there is no
  // "file:".
  BOOL createFromFileURL(const CAtlString& url);

  CAtlString GetFilePathString() const { return path_; }
  // The path in ISO 8859-1; other characters become "?".
  CAtlStringA GetFilePathStringA() const;

  CAtlString GetFileName() const;
  CAtlStringA GetFileNameA() const;
  CAtlString GetBaseFileName() const;
  CAtlString GetFileExtension() const;
  // Whether GetFileExtension consists of exactly these units: HasExtension(u".log"). The "==" of a
  // string and a literal compares by collation, which takes some other names as equal
  // (".l\u00ADog").
  BOOL HasExtension(std::u16string_view extension) const;
  // `extension` includes its dot; it is appended when the path has none.
  void RenameFileExtension(const CAtlString& extension);
  COrvikDirectoryPath GetDirectoryPath() const;

  // TRUE also for a folder, and for a link even if it is dangling.
  BOOL FileExists() const;
  BOOL IsDirectory() const;
  BOOL IsExecutable() const;

  BOOL IsValidForCrossPlatform() const;
  // FALSE also for names that begin with "." and for device names (con.txt, LPT3).
  BOOL IsValidWindowsFileName() const;
  // Removes from the name the characters that other platforms refuse. An empty result becomes
  // `replacement`; a result that begins with "." gets `replacement` in front.
  void MakeValidForCrossPlatform(const CAtlString& replacement);
  // `name` without the characters <>:"/\|?*
  static CAtlString MakeNameLegal(const CAtlString& name);

  BOOL IsURLShortCut() const;  // .url in any case
  BOOL IsShortCut() const;     // .lnk in any case

  // An unused name in the folder for temporary files; `extension` includes its dot. An empty `name`
  // is replaced by one from the process and the time. Nothing is created; see directory_path.h
  // for how to create the file.
  static COrvikFilePath CreateTempFileName(const CAtlString& extension, const CAtlString& name);

  // The first removes write permission for all users. The second gives the owner of a file write
  // permission if no user has it; it does not change folders. Both give TRUE without effect when
  // nothing exists at the path. They do not follow a link, whose permissions cannot be changed.
  BOOL SetFileReadOnly() const;
  BOOL ClearFileReadOnly() const;
  // Whether any user has write permission; TRUE when the file does not exist.
  BOOL CanFileBeWrittenTo() const;

  // The size in bytes. 0xFFFFFFFF when the path does not lead to a regular file, when the file
  // cannot be opened for reading, and when it has 0xFFFFFFFF bytes or more: a size is never
  // truncated.
  DWORD GetFileSize() const;

  // CalculateCRC32 (checksum.h) of the content. 0 for an empty file, and when the path does not
  // lead to a regular file, or the file cannot be read or is truncated meanwhile. The content is
  // read in pieces instead of being mapped, because access to a mapping of a file that shrinks
  // would end the process. Two threads read a file of 8 MiB or more.
  std::uint32_t GetFileChecksum() const;
  // The same, but distinguishes a failure from a checksum of 0: FALSE when there is no checksum,
  // also because `progress` stopped it. `report` (may be null) gets the reason.
  BOOL GetFileChecksum(std::uint32_t& checksum, TreeReport* report,
                       Progress* progress = nullptr) const;
};

}  // namespace orvik

template <>
struct std::hash<orvik::COrvikFilePath> : orvik::PathHash<orvik::COrvikFilePath> {};
