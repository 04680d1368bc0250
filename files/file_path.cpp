#include "files/file_path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <limits>
#include <ostream>

#include "files/checksum_variants.h"
#include "files/directory_path.h"
#include "files/file_manipulator.h"
#include "files/item_transfer.h"
#include "files/messages.h"
#include "files/path_arguments.h"
#include "files/path_disk.h"
#include "files/path_text.h"
#include "files/progress.h"
#include "files/whole_file.h"
#include "files/windows_files.h"
#include "host/descriptor.h"
#include "host/file_names.h"
#include "host/paths.h"

namespace orvik {
namespace {

constexpr auto kNone = std::u16string_view::npos;

// The name within the path.
std::u16string_view NameOf(std::u16string_view path) {
  const std::size_t slash = path.rfind(u'/');
  return slash == kNone ? path : path.substr(slash + 1);
}

// From the last dot of the name to its end; empty when the name has none.
std::u16string_view ExtensionOf(std::u16string_view path) {
  const std::u16string_view name = NameOf(path);
  const std::size_t dot = name.rfind(u'.');
  return dot == kNone ? std::u16string_view() : name.substr(dot);
}

bool EqualsNoCase(const CAtlString& text, const char16_t* other) {
  return text.CompareNoCase(CAtlString(other)) == 0;
}

bool IsDeviceName(const CAtlString& name) {
  constexpr const char16_t* kDevices[] = {u"CON",  u"PRN",  u"AUX",  u"NUL",  u"COM1", u"COM2",
                                          u"COM3", u"COM4", u"COM5", u"COM6", u"COM7", u"COM8",
                                          u"COM9", u"LPT1", u"LPT2", u"LPT3", u"LPT4", u"LPT5",
                                          u"LPT6", u"LPT7", u"LPT8", u"LPT9"};
  return std::any_of(std::begin(kDevices), std::end(kDevices),
                     [&name](const char16_t* device) { return EqualsNoCase(name, device); });
}

BOOL AllowOwnerToWrite(const CAtlString& path) {
  const std::optional<std::string> bytes = PathForLibc(path);
  struct stat info;
  return bytes && host::StatPath(*bytes, AT_SYMLINK_NOFOLLOW, &info) == 0 &&
         host::ChangeModeOf(*bytes, (info.st_mode & 07777) | S_IWUSR) == 0;
}

}  // namespace

COrvikFilePath::COrvikFilePath(const CAtlString& path) : PathValue(FixFilePathForPlatform(path)) {}

BOOL COrvikFilePath::createFromFileURL(const CAtlString& url) {
  const std::size_t scheme = url.View().find(u"file:");
  if (scheme == kNone) return FALSE;
  path_ = FixFolderPathForPlatform(url.Mid(static_cast<int>(scheme) + 7));
  return TRUE;
}

CAtlStringA COrvikFilePath::GetFilePathStringA() const {
  ATLTRACE(
      "\r\n\r\nIMPORTANT: you are calling COrvikFilePath::GetFilePathStringA().\r\n"
      "This function may cause problems if the path contains Unicode characters.\r\n"
      "Please rewrite your code not to use this function.");
  return CAtlStringA(path_);
}

CAtlString COrvikFilePath::GetFileName() const {
  return CAtlString(NameOf(path_.View()));
}

CAtlStringA COrvikFilePath::GetFileNameA() const {
  ATLTRACE(
      "\r\n\r\nIMPORTANT: you are calling COrvikFilePath::GetFileNameA().\r\n"
      "This function may cause problems if the path contains Unicode characters.\r\n"
      "Please rewrite your code not to use this function.");
  return CAtlStringA(GetFileName());
}

CAtlString COrvikFilePath::GetBaseFileName() const {
  std::u16string_view name = NameOf(path_.View());
  name.remove_suffix(ExtensionOf(name).size());
  return CAtlString(name);
}

CAtlString COrvikFilePath::GetFileExtension() const {
  return CAtlString(ExtensionOf(path_.View()));
}

BOOL COrvikFilePath::HasExtension(std::u16string_view extension) const {
  return ExtensionOf(path_.View()) == extension;
}

void COrvikFilePath::RenameFileExtension(const CAtlString& extension) {
  const auto old_length = static_cast<int>(ExtensionOf(path_.View()).size());
  path_ = path_.Left(path_.GetLength() - old_length) + extension;
}

COrvikDirectoryPath COrvikFilePath::GetDirectoryPath() const {
  return COrvikDirectoryPath(path_.Left(std::max(path_.ReverseFind(u'/'), 0)));
}

BOOL COrvikFilePath::IsValidForCrossPlatform() const {
  return FileNameIsValidForAllPlatforms(GetFileName());
}

BOOL COrvikFilePath::IsValidWindowsFileName() const {
  if (IsValidForCrossPlatform() == FALSE) return FALSE;
  CAtlString name = GetBaseFileName();
  if (name.IsEmpty()) name = GetFileName();
  return !name.View().starts_with(u'.') && !IsDeviceName(name);
}

void COrvikFilePath::MakeValidForCrossPlatform(const CAtlString& replacement) {
  const CAtlString folder = path_.Left(std::max(path_.ReverseFind(u'/'), 0));
  CAtlString name = GetFileName();
  FixFileNameInvalidCharacters(name);
  if (name.IsEmpty()) {
    name = replacement;
  } else if (name.View().starts_with(u'.')) {
    name = replacement + name;
  }
  path_ = folder + u'/' + name;
}

CAtlString COrvikFilePath::MakeNameLegal(const CAtlString& name) {
  CAtlString legal = name;
  for (const char16_t unit : std::u16string_view(u"<>:\"/\\|?*")) legal.Remove(unit);
  return legal;
}

BOOL COrvikFilePath::IsURLShortCut() const {
  return EqualsNoCase(GetFileExtension(), u".url");
}

BOOL COrvikFilePath::IsShortCut() const {
  return EqualsNoCase(GetFileExtension(), u".lnk");
}

COrvikFilePath COrvikFilePath::CreateTempFileName(const CAtlString& extension,
                                                  const CAtlString& name) {
  CAtlString chosen = name;
  if (chosen.IsEmpty()) {
    chosen.Format(u"PGW-%d-%x", static_cast<int>(getpid()), static_cast<unsigned>(GetTickCount()));
  }
  return COrvikDirectoryPath::GetTempFileDirectoryPath().CreateTempFileNameInDirectory(chosen,
                                                                                       extension);
}

BOOL COrvikFilePath::FileExists() const {
  return !path_.IsEmpty() && PathFileExists(PathArgument(path_)) != FALSE;
}

BOOL COrvikFilePath::IsDirectory() const {
  return PathIsDirectory(PathArgument(path_));
}

BOOL COrvikFilePath::IsExecutable() const {
  return IsDirectory() == FALSE && PathIsExe(PathArgument(path_)) != 0;
}

BOOL COrvikFilePath::SetFileReadOnly() const {
  if (FileExists() == FALSE) return TRUE;
  const DWORD attributes = GetFileAttributes(PathArgument(path_));
  if (attributes == INVALID_FILE_ATTRIBUTES) return FALSE;
  return SetFileAttributes(PathArgument(path_), attributes | FILE_ATTRIBUTE_READONLY);
}

BOOL COrvikFilePath::ClearFileReadOnly() const {
  if (FileExists() == FALSE) return TRUE;
  const DWORD attributes = GetFileAttributes(PathArgument(path_));
  if (attributes == INVALID_FILE_ATTRIBUTES) return FALSE;
  if (attributes == FILE_ATTRIBUTE_READONLY) return AllowOwnerToWrite(path_);
  return SetFileAttributes(PathArgument(path_), attributes & ~FILE_ATTRIBUTE_READONLY);
}

BOOL COrvikFilePath::CanFileBeWrittenTo() const {
  return FileExists() == FALSE ||
         (GetFileAttributes(PathArgument(path_)) & FILE_ATTRIBUTE_READONLY) == 0;
}

DWORD COrvikFilePath::GetFileSize() const {
  constexpr DWORD kUnknown = 0xFFFFFFFF;
  const CFile file(CFileManipulator::OpenFile(*this, "rb"));
  const std::uint64_t size =
      file ? host::SizeOfRegular(fileno(file.get())).value_or(kUnknown) : kUnknown;
  return size < kUnknown ? static_cast<DWORD>(size) : kUnknown;
}

std::uint32_t COrvikFilePath::GetFileChecksum() const {
  std::uint32_t checksum = 0;
  return GetFileChecksum(checksum, nullptr) != FALSE ? checksum : 0;
}

BOOL COrvikFilePath::GetFileChecksum(std::uint32_t& checksum, TreeReport* report,
                                     Progress* progress) const {
  const std::optional<std::string> bytes = PathForLibc(path_);
  const host::Descriptor file = bytes ? host::OpenRegular(*bytes, O_RDONLY) : host::Descriptor();
  int error = bytes ? errno : ENOENT;
  if (file) {
    host::Monitor* const monitor = MonitorOf(progress, *this);
    const std::uint64_t size = host::SizeOfRegular(file.get()).value_or(0);
    if (monitor != nullptr) monitor->Expect(1, size);
    std::optional<std::uint32_t> found;
    if (host::Begins(monitor, {}, {})) {
      found = ChecksumOfFile(file.get(), static_cast<std::size_t>(size), monitor);
      error = found ? 0 : EIO;
    }
    if (found) {
      checksum = *found;
      host::Advances(monitor, 1, 0);
    } else if (host::IsStopped(monitor)) {
      error = ECANCELED;
    }
  }
  return AddResult(*this, error, host::Side::kSource, report);
}

template <typename Path>
int PathValue<Path>::GetNumberOfDaysOld() const {
  struct stat record;
  if (host::StatPath(ToBytes(), 0, &record) != 0) return 0;
  const double days = std::difftime(std::time(nullptr), record.st_mtime) / 86400;
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<double>(days, Limits::min(), Limits::max()));
}

template <typename Path>
Path PathValue<Path>::FromBytes(std::string_view bytes) {
  return Path(PathFromBytes(bytes));
}

template <typename Path>
std::string PathValue<Path>::ToBytes() const {
  return PathForLibc(path_).value_or("");
}

template <typename Path>
std::optional<CAtlString> PathValue<Path>::RelativeTo(const COrvikDirectoryPath& folder) const {
  const CAtlString above = folder.GetDirectoryPathString();
  std::u16string_view rest = path_.View();
  if (!rest.starts_with(above.View())) return std::nullopt;
  rest.remove_prefix(above.View().size());
  if (rest.empty()) return CAtlString();
  if (rest.front() != u'/') return std::nullopt;
  return CAtlString(rest.substr(1));
}

// A path that no file can have is written as UTF-8.
template <typename Path>
std::ostream& PathValue<Path>::Write(std::ostream& out) const {
  const std::optional<std::string> bytes = host::FileNameToBytes(path_.View());
  return out << (bytes ? *bytes : path_.ToUtf8());
}

template class PathValue<COrvikFilePath>;
template class PathValue<COrvikDirectoryPath>;

}  // namespace orvik
