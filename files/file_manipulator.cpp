#include "files/file_manipulator.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "files/whole_file.h"
#include "files/windows_files.h"
#include "host/descriptor.h"
#include "host/paths.h"
#include "host/replace_file.h"
#include "host/tree_removal.h"
#include "platform/carbon/folders.h"
#include "platform/core_foundation/base.h"
#include "platform/core_foundation/user_notification.h"
#include "text/shown_text.h"

namespace orvik {
namespace {

Owned<const NSString> PlatformString(const CAtlString& text) {
  return Owned<const NSString>(text.CreateCFStringRef(kCFAllocatorDefault));
}

constexpr char16_t kDeleteConfirmFormat[] = u"Are you sure you want to delete the file \"%s\"?";
constexpr char16_t kOverwriteConfirmFormat[] =
    u"The file \"%s\" already exists.  Do you want to overwrite it?";

// Whether the format can be filled with one path: it holds one %s, and every other per cent sign is
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

// The question about a file. A translated format that cannot be filled gives way to the built-in
// one: nobody is to be asked without the name.
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
      PlatformString(header).get(), PlatformString(message).get(), PlatformString(cancel).get(),
      PlatformString(confirm).get(), nullptr, &response);
  return status == 0 && (response & 3) == kCFUserNotificationAlternateResponse;
}

// The content of a regular file of size 0: files of /proc have content all the same. Waits for
// nothing; false on failure, and for more bytes than the limit.
bool ReadWithoutSize(const COrvikFilePath& file, std::size_t limit, std::string* content) {
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  return path && host::ReadWholeFile(*path, content, nullptr, limit) == 0;
}

// The flags of open for an fopen mode; -1 when it is none.
int OpenFlags(const char* mode) {
  const bool updates = std::strchr(mode, '+') != nullptr;
  const int exclusive = std::strchr(mode, 'x') != nullptr ? O_EXCL : 0;
  const int access = updates ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
  switch (*mode) {
    case 'r':
      return access;
    case 'w':
      return access | O_CREAT | O_TRUNC | exclusive;
    case 'a':
      return access | O_CREAT | O_APPEND | exclusive;
    default:
      return -1;
  }
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

// The trash of a volume or of the user, made when it is missing.
std::optional<COrvikDirectoryPath> FindTrash(FSVolumeRefNum domain, bool create) {
  FSRef trash;
  if (FSFindFolder(domain, kTrashFolderType, create, &trash) != 0) return std::nullopt;
  const std::optional<std::string> path = PathOfReference(trash);
  if (!path) return std::nullopt;
  return COrvikDirectoryPath(PathFromBytes(*path));
}

BOOL Delete(const COrvikFilePath& file, TreeReport* report, Progress* progress) {
  if (file.FileExists() == FALSE) return TRUE;
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  if (!path ||
      SetFileAttributes(PathArgument(file.GetFilePathString()), FILE_ATTRIBUTE_NORMAL) == FALSE) {
    return AddResult(file, EACCES, host::Side::kSource, report);
  }
  host::TreeOutcome outcome;
  const int error =
      host::RemoveTree(*path, host::Obstacles::kTakeAway, &outcome, MonitorOf(progress, file));
  AddOutcome(COrvikDirectoryPath(file.GetFilePathString()), outcome, report);
  return error == 0 ? TRUE : FALSE;
}

}  // namespace

CAtlString CFileManipulator::m_csDeleteConfirmFormat = kDeleteConfirmFormat;
CAtlString CFileManipulator::m_csOverwriteConfirmFormat = kOverwriteConfirmFormat;
CAtlString CFileManipulator::m_csDeleteString = u"Delete";
CAtlString CFileManipulator::m_csCancelString = u"Cancel";
CAtlString CFileManipulator::m_csCopyString = u"Copy";
CAtlString CFileManipulator::m_csOverwriteString = u"Overwrite";

void CFileManipulator::InitializeLocalizedStrings(const CAtlString& delete_confirm_format,
                                                  const CAtlString& overwrite_confirm_format,
                                                  const CAtlString& delete_text,
                                                  const CAtlString& cancel_text,
                                                  const CAtlString& copy_text,
                                                  const CAtlString& overwrite_text) {
  m_csDeleteConfirmFormat = delete_confirm_format;
  m_csOverwriteConfirmFormat = overwrite_confirm_format;
  m_csDeleteString = delete_text;
  m_csCancelString = cancel_text;
  m_csCopyString = copy_text;
  m_csOverwriteString = overwrite_text;
}

BOOL CFileManipulator::CopyFile(const COrvikFilePath& source, const COrvikFilePath& target,
                                BOOL ask) {
  if (source.FileExists() == FALSE) return FALSE;
  if (ask != FALSE && target.FileExists() != FALSE) {
    const CAtlString message =
        Question(m_csOverwriteConfirmFormat, kOverwriteConfirmFormat, target);
    if (!Confirm(m_csCopyString, message, m_csCancelString, m_csOverwriteString)) return FALSE;
  }
  return CopyFileTo(source, target, FALSE);
}

BOOL CFileManipulator::DeleteFile(const COrvikFilePath& file, BOOL ask, BOOL to_trash) {
  return DeleteFile(file, ask, to_trash, nullptr);
}

BOOL CFileManipulator::DeleteFile(const COrvikFilePath& file, BOOL ask, BOOL to_trash,
                                  TreeReport* report, Progress* progress) {
  if (file.FileExists() == FALSE) return TRUE;
  if (ask != FALSE) {
    const CAtlString message = Question(m_csDeleteConfirmFormat, kDeleteConfirmFormat, file);
    if (!Confirm(m_csDeleteString, message, m_csCancelString, m_csDeleteString)) return FALSE;
  }
  if (to_trash == FALSE) return Delete(file, report, progress);

  if (const std::optional<FSVolumeRefNum> volume = VolumeOf(file)) FindTrash(*volume, true);
  COrvikDirectoryPath trash;
  if (GetTrashPathForFile(file, trash) != FALSE) return MoveToTrash(file, trash, report, progress);
  const std::optional<COrvikDirectoryPath> home_trash = FindTrash(kUserDomain, true);
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
      volume ? FindTrash(*volume, false) : std::nullopt;
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
  constexpr std::size_t kMostBytes = 0xFFFFFFFF;
  buffer = nullptr;
  const CFile opened(OpenFile(file, "rb"));
  const std::optional<std::uint64_t> size =
      opened ? host::SizeOfRegular(fileno(opened.get())) : std::nullopt;
  if (!size || *size >= kMostBytes) return 0;
  if (*size == 0) {
    std::string content;
    if (!ReadWithoutSize(file, kMostBytes - 1, &content) || content.empty()) return 0;
    buffer = new (std::nothrow) unsigned char[content.size()];
    if (buffer == nullptr) return 0;
    std::memcpy(buffer, content.data(), content.size());
    return content.size();
  }
  buffer = new (std::nothrow) unsigned char[static_cast<std::size_t>(*size)];
  if (buffer == nullptr) return 0;
  const std::size_t got = std::fread(buffer, 1, static_cast<std::size_t>(*size), opened.get());
  if (got == 0) {
    delete[] buffer;
    buffer = nullptr;
  }
  return got;
}

HRESULT CFileManipulator::ReadAsciiFileIntoAsciiString(const COrvikFilePath& file,
                                                       CAtlStringA& text, const char* prefix) {
  const CFile opened(file.IsEmptyPath() != FALSE ? nullptr : OpenFile(file, "rb"));
  if (!opened) return E_INVALIDARG;
  const std::optional<std::uint64_t> known = host::SizeOfRegular(fileno(opened.get()));
  const std::size_t start = prefix != nullptr ? std::strlen(prefix) : 0;
  if (!known || *known + start >= std::numeric_limits<int>::max()) return E_UNEXPECTED;
  auto size = static_cast<std::size_t>(*known);
  std::string content;
  if (size == 0) {
    const std::size_t limit = std::numeric_limits<int>::max() - start - 1;
    if (!ReadWithoutSize(file, limit, &content)) return E_UNEXPECTED;
    size = content.size();
  }
  if (prefix != nullptr) text = prefix;
  char* const buffer = text.GetBufferSetLength(static_cast<int>(start + size + 1));
  const std::size_t got = content.empty() ? std::fread(buffer + start, 1, size, opened.get())
                                          : content.copy(buffer + start, size);
  buffer[start + got] = '\0';
  text.ReleaseBuffer(static_cast<int>(std::strlen(buffer)));
  return got == size ? S_OK : E_UNEXPECTED;
}

HRESULT CFileManipulator::WriteAsciiStringToFile(const COrvikFilePath& file, const char* bytes,
                                                 unsigned long count) {
  if (bytes == nullptr || count == 0 || file.IsEmptyPath() != FALSE) return E_INVALIDARG;
  return WriteWholeFile(file, {bytes, count}) ? S_OK : E_INVALIDARG;
}

BOOL CFileManipulator::CopyFileTo(const COrvikFilePath& source, const COrvikFilePath& target,
                                  BOOL fail_if_exists) {
  return CopyFileTo(source, target, fail_if_exists, nullptr);
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

BOOL CFileManipulator::MoveFileTo(const COrvikFilePath& source, const COrvikFilePath& target) {
  return MoveFileTo(source, target, nullptr);
}

BOOL CFileManipulator::MoveFileTo(const COrvikFilePath& source, const COrvikFilePath& target,
                                  TreeReport* report, Progress* progress) {
  host::Side side;
  const int error =
      MoveItem(PathArgument(source.GetFilePathString()), PathArgument(target.GetFilePathString()),
               {.side = &side, .monitor = MonitorOf(progress, source)});
  return AddResult(source, error, side, report);
}

BOOL CFileManipulator::DeleteFile(const COrvikFilePath& file) {
  return Delete(file, nullptr, nullptr);
}

BOOL CFileManipulator::RemoveFile(const COrvikFilePath& file) {
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  return path && host::RemoveFile(*path, host::Obstacles::kTakeAway) == 0 ? TRUE : FALSE;
}

}  // namespace orvik
