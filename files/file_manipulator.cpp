#include "files/file_manipulator.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "files/path_disk.h"
#include "files/whole_file.h"
#include "files/windows_files.h"
#include "host/descriptor.h"
#include "host/paths.h"
#include "host/replace_file.h"
#include "host/tree_removal.h"
#include "platform/core_foundation/user_notification.h"
#include "strings/auto_release.h"
#include "text/shown_text.h"

namespace orvik {
namespace {

CAutoCFRelease<CFStringRef> PlatformString(const CAtlString& text) {
  return CAutoCFRelease<CFStringRef>(text.CreateCFStringRef(kCFAllocatorDefault));
}

constexpr char16_t kDeleteConfirmFormat[] = u"Are you sure you want to delete the file \"%s\"?";
constexpr char16_t kOverwriteConfirmFormat[] =
    u"The file \"%s\" already exists.  Do you want to overwrite it?";

// Whether the format takes exactly one path: it has one %s, and every other per cent sign is
// written as %%.
bool TakesOnePath(std::u16string_view format) {
  int paths = 0;
  for (std::size_t at = format.find(u'%'); at != std::u16string_view::npos;
       at = format.find(u'%', at + 2)) {
    const char16_t kind = at + 1 < format.size() ? format[at + 1] : u'\0';
    if (kind == u's') {
      ++paths;
    } else if (kind != u'%') {
      return false;
    }
  }
  return paths == 1;
}

// The question about a file. The built-in format replaces a translated one that does not take
// exactly one path, so that every question shows the name.
CAtlString Question(const CAtlString& translated, const char16_t* built_in,
                    const COrvikFilePath& file) {
  const CAtlString format = TakesOnePath(translated.View()) ? translated : CAtlString(built_in);
  CAtlString message;
  message.Format(format, NameForSentence(file.GetFilePathString().View(), format.View()).c_str());
  return message;
}

// Whether the user chose `confirm` and not `cancel`, which is the default button.
bool Confirm(const CAtlString& header, const CAtlString& message, const CAtlString& cancel,
             const CAtlString& confirm) {
  CFOptionFlags response = kCFUserNotificationDefaultResponse;
  const SInt32 status = CFUserNotificationDisplayAlert(
      0, kCFUserNotificationCautionAlertLevel, nullptr, nullptr, nullptr,
      PlatformString(header).Get(), PlatformString(message).Get(), PlatformString(cancel).Get(),
      PlatformString(confirm).Get(), nullptr, &response);
  return status == 0 && (response & 3) == kCFUserNotificationAlternateResponse;
}

// A regular file that is open for reading, and its size. If its size on disk is 0, as in /proc,
// `content` holds the bytes already read.
struct OpenedSource {
  CFile file;
  std::size_t size = 0;
  std::string content;

  std::size_t Read(void* buffer) const {
    if (content.empty()) return std::fread(buffer, 1, size, file.get());
    return content.copy(static_cast<char*>(buffer), size);
  }
};

// E_INVALIDARG when the file cannot be opened, E_UNEXPECTED when it is not a regular file of at
// most `limit` bytes.
HRESULT OpenSource(const COrvikFilePath& file, std::size_t limit, OpenedSource* source) {
  source->file.reset(CFileManipulator::OpenFile(file, "rb"));
  if (!source->file) return E_INVALIDARG;
  const std::optional<std::uint64_t> size = host::SizeOfRegular(fileno(source->file.get()));
  if (!size || *size > limit) return E_UNEXPECTED;
  source->size = static_cast<std::size_t>(*size);
  if (*size != 0) return S_OK;
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  if (!path || host::ReadWholeFile(*path, &source->content, nullptr, limit) != 0) {
    return E_UNEXPECTED;
  }
  source->size = source->content.size();
  return S_OK;
}

// The flags of open for an fopen mode; -1 for an invalid mode.
int OpenFlags(std::string_view mode) {
  const auto has = [mode](char letter) { return mode.find(letter) != mode.npos; };
  if (mode.find_first_of("rwa") != 0) return -1;
  const int access = has('+') ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
  if (mode[0] == 'r') return access;
  return access | O_CREAT | (mode[0] == 'w' ? O_TRUNC : O_APPEND) | (has('x') ? O_EXCL : 0);
}

std::optional<FSVolumeRefNum> VolumeOf(const COrvikFilePath& file) {
  FSRef ref;
  FSCatalogInfo info;
  if (GetFSRefFromFilename(PathArgument(file.GetFilePathString()), &ref, false, false) != 0 ||
      FSGetCatalogInfo(&ref, kFSCatInfoVolume, &info, nullptr, nullptr, nullptr) != 0) {
    return std::nullopt;
  }
  return info.volume;
}

// Deletes the file or folder at the path.
BOOL Delete(const COrvikFilePath& file, TreeReport* report, Progress* progress) {
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  if (!path ||
      SetFileAttributes(PathArgument(file.GetFilePathString()), FILE_ATTRIBUTE_NORMAL) == FALSE) {
    return AddResult(file, EACCES, host::Side::kSource, report);
  }
  host::TreeOutcome outcome;
  const int error =
      host::RemoveTree(*path, host::Obstacles::kOverride, &outcome, MonitorOf(progress, file));
  AddOutcome(COrvikDirectoryPath(file.GetFilePathString()), outcome, report);
  return error == 0 ? TRUE : FALSE;
}

}  // namespace

struct CFileManipulator::AlertTexts {
  CAtlString m_csDeleteConfirmFormat = kDeleteConfirmFormat;
  CAtlString m_csOverwriteConfirmFormat = kOverwriteConfirmFormat;
  CAtlString m_csDeleteString = u"Delete";
  CAtlString m_csCancelString = u"Cancel";
  CAtlString m_csCopyString = u"Copy";
  CAtlString m_csOverwriteString = u"Overwrite";
};

// Made on first use and never destroyed, like the settings in directory_path.cpp.
CFileManipulator::AlertTexts& CFileManipulator::Texts() {
  static auto* const texts = new AlertTexts;
  return *texts;
}

void CFileManipulator::InitializeLocalizedStrings(const CAtlString& delete_confirm_format,
                                                  const CAtlString& overwrite_confirm_format,
                                                  const CAtlString& delete_text,
                                                  const CAtlString& cancel_text,
                                                  const CAtlString& copy_text,
                                                  const CAtlString& overwrite_text) {
  Texts() = {delete_confirm_format, overwrite_confirm_format, delete_text, cancel_text, copy_text,
             overwrite_text};
}

BOOL CFileManipulator::CopyFile(const COrvikFilePath& source, const COrvikFilePath& target,
                                BOOL ask) {
  if (source.FileExists() == FALSE) return FALSE;
  if (ask != FALSE && target.FileExists() != FALSE) {
    const AlertTexts& texts = Texts();
    const CAtlString message =
        Question(texts.m_csOverwriteConfirmFormat, kOverwriteConfirmFormat, target);
    if (!Confirm(texts.m_csCopyString, message, texts.m_csCancelString,
                 texts.m_csOverwriteString)) {
      return FALSE;
    }
  }
  return CopyFileTo(source, target, FALSE);
}

BOOL CFileManipulator::DeleteFile(const COrvikFilePath& file, BOOL ask, BOOL to_trash,
                                  TreeReport* report, Progress* progress) {
  if (file.FileExists() == FALSE) return TRUE;
  if (ask != FALSE) {
    const AlertTexts& texts = Texts();
    const CAtlString message = Question(texts.m_csDeleteConfirmFormat, kDeleteConfirmFormat, file);
    if (!Confirm(texts.m_csDeleteString, message, texts.m_csCancelString, texts.m_csDeleteString)) {
      return FALSE;
    }
  }
  if (to_trash == FALSE) return Delete(file, report, progress);

  if (const std::optional<FSVolumeRefNum> volume = VolumeOf(file))
    FindStandardFolder(*volume, kTrashFolderType, true);
  COrvikDirectoryPath trash;
  if (GetTrashPathForFile(file, trash) != FALSE) return MoveToTrash(file, trash, report, progress);
  const std::optional<COrvikDirectoryPath> home_trash =
      FindStandardFolder(kUserDomain, kTrashFolderType, true);
  TreeReport own;
  if (home_trash && MoveToTrash(file, *home_trash, &own, progress)) {
    if (report != nullptr) ++report->done;
    return TRUE;
  }
  if (progress != nullptr && progress->IsStopped()) {
    return AddResult(file, ECANCELED, host::Side::kSource, report);
  }
  return Delete(file, report, progress);
}

BOOL CFileManipulator::GetTrashPathForFile(const COrvikFilePath& file,
                                           COrvikDirectoryPath& folder) {
  const std::optional<FSVolumeRefNum> volume = VolumeOf(file);
  const std::optional<COrvikDirectoryPath> trash =
      volume ? FindStandardFolder(*volume, kTrashFolderType, false) : std::nullopt;
  if (!trash) return FALSE;
  folder = *trash;
  return TRUE;
}

std::FILE* CFileManipulator::OpenFile(const COrvikFilePath& file, const char* mode) {
  const std::optional<std::string> bytes = PathForLibc(file.GetFilePathString());
  const int flags = mode == nullptr ? -1 : OpenFlags(mode);
  if (!bytes || flags < 0) {
    errno = EINVAL;
    return nullptr;
  }
  struct stat record;
  if (flags == O_RDONLY && host::StatPath(*bytes, 0, &record) == 0 && !S_ISREG(record.st_mode) &&
      !S_ISCHR(record.st_mode)) {
    errno = S_ISDIR(record.st_mode) ? EISDIR : EINVAL;
    return nullptr;
  }
  host::Descriptor opened =
      flags == O_RDONLY ? host::OpenPath(*bytes, flags) : host::OpenForOutput(*bytes, flags);
  std::FILE* const stream = opened ? fdopen(opened.get(), mode) : nullptr;
  if (stream != nullptr) opened.Release();
  return stream;
}

int CFileManipulator::StatFile(const COrvikFilePath& file, struct stat* record) {
  const std::optional<std::string> bytes = PathForLibc(file.GetFilePathString());
  errno = bytes ? host::StatPath(*bytes, AT_SYMLINK_NOFOLLOW, record) : ENOENT;
  return errno == 0 ? 0 : -1;
}

unsigned long CFileManipulator::ReadFileIntoBuffer(const COrvikFilePath& file,
                                                   unsigned char*& buffer) {
  constexpr std::size_t kMostBytes = 0xFFFFFFFE;
  buffer = nullptr;
  OpenedSource source;
  if (OpenSource(file, kMostBytes, &source) != S_OK || source.size == 0) return 0;
  buffer = new (std::nothrow) unsigned char[source.size];
  if (buffer == nullptr) return 0;
  const std::size_t got = source.Read(buffer);
  if (got == 0) delete[] std::exchange(buffer, nullptr);
  return got;
}

HRESULT CFileManipulator::ReadAsciiFileIntoAsciiString(const COrvikFilePath& file,
                                                       CAtlStringA& text, const char* prefix) {
  const std::size_t start = prefix != nullptr ? std::strlen(prefix) : 0;
  OpenedSource source;
  const std::size_t limit = std::numeric_limits<int>::max() - start - 1;
  if (const HRESULT refusal = OpenSource(file, limit, &source)) return refusal;
  if (prefix != nullptr) text = prefix;
  char* const buffer = text.GetBufferSetLength(static_cast<int>(start + source.size + 1));
  const std::size_t got = source.Read(buffer + start);
  buffer[start + got] = '\0';
  text.ReleaseBuffer(static_cast<int>(std::strlen(buffer)));
  return got == source.size ? S_OK : E_UNEXPECTED;
}

HRESULT CFileManipulator::WriteAsciiStringToFile(const COrvikFilePath& file, const char* bytes,
                                                 unsigned long count) {
  if (bytes == nullptr || count == 0 || file.IsEmptyPath() != FALSE) return E_INVALIDARG;
  return WriteWholeFile(file, {bytes, count}) ? S_OK : E_INVALIDARG;
}

BOOL CFileManipulator::CopyFileTo(const COrvikFilePath& source, const COrvikFilePath& target,
                                  BOOL fail_if_exists, TreeReport* report, Progress* progress) {
  host::Side side;
  const int error =
      CopyItem(PathArgument(source.GetFilePathString()), PathArgument(target.GetFilePathString()),
               fail_if_exists, &side, MonitorOf(progress, source));
  return AddResult(source, error, side, report);
}

BOOL CFileManipulator::CopyFileTo(const COrvikFilePath& source,
                                  const COrvikDirectoryPath& target_folder, BOOL fail_if_exists) {
  return CopyFileTo(source, target_folder.CreateFilePath(source.GetFileName()), fail_if_exists);
}

BOOL CFileManipulator::MoveFileTo(const COrvikFilePath& source, const COrvikFilePath& target,
                                  TreeReport* report, Progress* progress) {
  host::Side side;
  const int error =
      MoveItem(PathArgument(source.GetFilePathString()), PathArgument(target.GetFilePathString()),
               {.side = &side, .monitor = MonitorOf(progress, source)});
  return AddResult(source, error, side, report);
}

BOOL CFileManipulator::RemoveFile(const COrvikFilePath& file) {
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  return path && host::RemoveFile(*path, host::Obstacles::kOverride) == 0 ? TRUE : FALSE;
}

}  // namespace orvik
