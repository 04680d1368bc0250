// The operations of CFileManipulator that ask the user, and the trash.
#include <optional>
#include <string>

#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "files/windows_file_refs.h"
#include "files/windows_files.h"
#include "host/file_names.h"
#include "platform/carbon/folders.h"
#include "platform/carbon/trash.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/date_formatter.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/user_notification.h"
#include "text/direction.h"

namespace orvik {
namespace {

Owned<const NSString> PlatformString(const CAtlString& text) {
  return Owned<const NSString>(text.CreateCFStringRef(kCFAllocatorDefault));
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

// The local time as 14-05-09; nothing when it cannot be formatted.
std::optional<CAtlString> TimeStamp() {
  const Owned<NSDateFormatter> formatter(CFDateFormatterCreate(
      kCFAllocatorDefault, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle));
  if (!formatter) return std::nullopt;
  CFDateFormatterSetFormat(formatter.get(), PlatformString(u"HH-mm-ss").get());
  const Owned<const NSString> stamp(CFDateFormatterCreateStringWithAbsoluteTime(
      kCFAllocatorDefault, formatter.get(), CFAbsoluteTimeGetCurrent()));
  if (!stamp) return std::nullopt;
  return CAtlString(stamp.get());
}

bool IsTaken(const COrvikFilePath& target) {
  const std::optional<std::string> bytes = PathForLibc(target.GetFilePathString());
  return target.FileExists() != FALSE || !bytes || TrashNameIsTaken(*bytes);
}

// The file's name with `addition` before the extension. One that is too long for the trash loses
// characters before that, and the extension when it alone is too long.
CAtlString NameInTrash(const COrvikFilePath& file, const CAtlString& addition) {
  const auto is_too_long = [](const CAtlString& name) {
    const std::optional<std::string> bytes = host::FileNameToBytes(name.View());
    return bytes && bytes->size() > kLongestTrashName;
  };
  CAtlString base = file.GetBaseFileName();
  CAtlString end = addition + file.GetFileExtension();
  if (is_too_long(end)) {
    base = file.GetFileName();
    end = addition;
  }
  while (!base.IsEmpty() && is_too_long(base + end)) {
    const bool is_half = (base.View().back() & 0xFC00) == 0xDC00 && base.GetLength() > 1 &&
                         (base[base.GetLength() - 2] & 0xFC00) == 0xD800;
    base.Truncate(base.GetLength() - (is_half ? 2 : 1));
  }
  return base + end;
}

// The place for a file in the trash; the empty path when none can be made.
COrvikFilePath FreePlaceInTrash(const COrvikFilePath& file, const COrvikDirectoryPath& trash) {
  COrvikFilePath target = trash.CreateFilePath(NameInTrash(file, u""));
  if (!IsTaken(target)) return target;
  const std::optional<CAtlString> stamp = TimeStamp();
  if (!stamp) return {};
  CAtlString addition = u' ' + *stamp;
  target = trash.CreateFilePath(NameInTrash(file, addition));
  for (unsigned number = 1; IsTaken(target); ++number) {
    addition.Format(u" %s-%u", stamp->GetString(), number);
    target = trash.CreateFilePath(NameInTrash(file, addition));
  }
  return target;
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

}  // namespace

CAtlString CFileManipulator::m_csDeleteConfirmFormat =
    u"Are you sure you want to delete the file \"%s\"?";
CAtlString CFileManipulator::m_csOverwriteConfirmFormat =
    u"The file \"%s\" already exists.  Do you want to overwrite it?";
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
    CAtlString message;
    message.Format(m_csOverwriteConfirmFormat, NameForSentence(target.GetFilePathString().View(),
                                                               m_csOverwriteConfirmFormat.View())
                                                   .c_str());
    if (!Confirm(m_csCopyString, message, m_csCancelString, m_csOverwriteString)) return FALSE;
  }
  return CopyFileTo(source, target, FALSE);
}

BOOL CFileManipulator::DeleteFile(const COrvikFilePath& file, BOOL ask, BOOL to_trash) {
  if (file.FileExists() == FALSE) return TRUE;
  if (ask != FALSE) {
    CAtlString message;
    message.Format(
        m_csDeleteConfirmFormat,
        NameForSentence(file.GetFilePathString().View(), m_csDeleteConfirmFormat.View()).c_str());
    if (!Confirm(m_csDeleteString, message, m_csCancelString, m_csDeleteString)) return FALSE;
  }
  if (to_trash == FALSE) return DeleteFile(file);

  if (const std::optional<FSVolumeRefNum> volume = VolumeOf(file)) {
    FSRef made;
    FSFindTrashFolder(*volume, true, &made);
  }
  COrvikDirectoryPath trash;
  if (GetTrashPathForFile(file, trash) == FALSE) return DeleteFile(file);
  const COrvikFilePath target = FreePlaceInTrash(file, trash);
  return target.IsEmptyPath() == FALSE && MoveFileTo(file, target) != FALSE;
}

BOOL CFileManipulator::GetTrashPathForFile(const COrvikFilePath& file,
                                           COrvikDirectoryPath& folder) {
  const std::optional<FSVolumeRefNum> volume = VolumeOf(file);
  FSRef trash;
  std::string path;
  if (!volume || FSFindFolder(*volume, FourCC("trsh"), false, &trash) != 0 ||
      FSRefCopyPath(&trash, &path) != 0) {
    return FALSE;
  }
  folder = COrvikDirectoryPath(PathFromBytes(path));
  return TRUE;
}

}  // namespace orvik
