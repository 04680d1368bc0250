#include "files/directory_path.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "files/messages.h"
#include "files/path_arguments.h"
#include "files/path_disk.h"
#include "files/path_text.h"
#include "files/windows_files.h"

namespace orvik {

COrvikDirectoryPath::COrvikDirectoryPath(const CAtlString& path)
    : PathValue(FixFolderPathForPlatform(path)) {}

CAtlStringA COrvikDirectoryPath::GetDirectoryPathStringA() const {
  ATLTRACE(
      "\r\n\r\nIMPORTANT: you are calling COrvikDirectoryPath::GetDirectoryPathStringA().\r\n"
      "This function may cause problems if the path contains Unicode characters.\r\n"
      "Please rewrite your code not to use this function.");
  return CAtlStringA(path_);
}

BOOL COrvikDirectoryPath::DirectoryExists() const {
  return !path_.IsEmpty() && PathFileExists(PathArgument(path_)) != FALSE;
}

void COrvikDirectoryPath::AddDirectoryToPath(const CAtlString& name) {
  if (!name.IsEmpty()) path_ = FixFolderPathForPlatform(path_ + u'/' + name);
}

BOOL COrvikDirectoryPath::RemoveLastSubdirectoryFromPath() {
  const int slash = path_.ReverseFind(u'/');
  if (slash < 0) return FALSE;
  path_ = path_.Left(slash);
  return TRUE;
}

CAtlString COrvikDirectoryPath::GetLastDirectoryName() const {
  return CAtlString(PathFindFileName(path_));
}

COrvikFilePath COrvikDirectoryPath::CreateFilePath(const CAtlString& name) const {
  return COrvikFilePath(path_ + u'/' + name);
}

BOOL COrvikDirectoryPath::IsSubdirectoryOf(const COrvikDirectoryPath& other) const {
  const int length = other.path_.GetLength();
  return length > 0 && length <= path_.GetLength() &&
         path_.Left(length).CompareNoCase(other.path_) == 0;
}

BOOL COrvikDirectoryPath::IsValidForCrossPlatform() const {
  return FilePathIsValidForAllPlatforms(path_);
}

void COrvikDirectoryPath::MakeValidForCrossPlatform() {
  FixFilePathInvalidCharacters(path_);
}

BOOL COrvikDirectoryPath::CanDirectoryBeWrittenTo() const {
  ATLTRACE(
      "\r\n\r\nIMPORTANT: You are calling COrvikDirectoryPath::CanDirectoryBeWrittenTo.\r\n"
      "This method is NOT implemented on Mac or Windows.\r\n"
      "Please add Mac and Windows implementations of this method.");
  return TRUE;
}

void COrvikDirectoryPath::SortPaths(CAtlArray<COrvikDirectoryPath>& paths) {
  struct Entry {
    std::u16string_view name;  // points into the text of the path
    COrvikDirectoryPath path;
  };
  std::vector<Entry> entries;
  entries.reserve(paths.GetCount());
  for (COrvikDirectoryPath& path : paths) {
    entries.push_back({PathFindFileName(path.path_.GetString()), path});
  }
  const auto compareDirfunc = [](const Entry& a, const Entry& b) {
    return a.name.compare(b.name) < 0;
  };
  std::stable_sort(entries.begin(), entries.end(), compareDirfunc);
  std::transform(entries.begin(), entries.end(), paths.begin(),
                 [](Entry& entry) { return std::move(entry.path); });
}

COrvikDirectoryPath COrvikDirectoryPath::CreateUniqueSubDirectoryPath(
    const COrvikDirectoryPath& parent, const CAtlString& name) {
  COrvikDirectoryPath candidate = parent / name;
  for (int number = 1; candidate.DirectoryExists() != FALSE; ++number) {
    CAtlString numbered = name;
    numbered.AppendFormat(u"%d", number);
    candidate = parent / numbered;
  }
  return candidate;
}

COrvikFilePath COrvikDirectoryPath::CreateUniqueFilePath(const COrvikDirectoryPath& folder,
                                                         const CAtlString& name,
                                                         const CAtlString& extension) {
  if (folder.DirectoryExists() == FALSE) return COrvikFilePath(name);
  CAtlString dotted = extension;
  if (!dotted.IsEmpty() && dotted[0] != u'.') dotted = u'.' + dotted;
  COrvikFilePath candidate = folder.CreateFilePath(name + dotted);
  for (int number = 2; candidate.FileExists() != FALSE; ++number) {
    CAtlString numbered = name;
    numbered.AppendFormat(u" %d", number);
    candidate = folder.CreateFilePath(numbered + dotted);
  }
  return candidate;
}

COrvikFilePath COrvikDirectoryPath::CreateTempFileNameInDirectory(
    const CAtlString& name, const CAtlString& extension) const {
  COrvikFilePath candidate = CreateFilePath(name + extension);
  while (candidate.FileExists() != FALSE) {
    CAtlString numbered = name;
    numbered.AppendFormat(u"(%d)", std::rand());
    candidate = CreateFilePath(numbered + extension);
  }
  return candidate;
}

namespace {

constexpr const char16_t* kMakerFolder = u"ORVIK Technologies";
constexpr const char16_t* kApplication = u"ORVIK Pagewell";
constexpr const char16_t* kStudentApplication = u"ORVIK Pagewell SE";

// A special folder of the Windows shell and the platform's folder for it.
struct SpecialFolder {
  int number;
  FSVolumeRefNum domain;
  OSType type;
};
constexpr SpecialFolder kSpecialFolders[] = {
    {5, kUserDomain, kDocumentsFolderType},
    {12, kUserDomain, kDocumentsFolderType},
    {10, kUserDomain, kTrashFolderType},
    {16, kUserDomain, kDesktopFolderType},
    {25, kSystemDomain, kSystemDesktopFolderType},
    {26, kUserDomain, kApplicationSupportFolderType},
    {28, kLocalDomain, kApplicationSupportFolderType},
    {35, kSystemDomain, kApplicationSupportFolderType},
    {38, kSystemDomain, kApplicationsFolderType},
};

// No value for an unknown number, and when the platform does not find the folder.
std::optional<COrvikDirectoryPath> FindSpecialFolder(int number) {
  for (const SpecialFolder& special : kSpecialFolders) {
    if (special.number == number) return FindStandardFolder(special.domain, special.type, false);
  }
  return std::nullopt;
}

}  // namespace

// The process's settings are made on first use and never destroyed: static objects of a program may
// use them before main begins and after it has ended, whatever the link order of the libraries.
CAtlString& COrvikDirectoryPath::GlobalTempFilePath() {
  static auto* const my_GlobalTempFilePath = new CAtlString;
  return *my_GlobalTempFilePath;
}

COrvikDirectoryPath COrvikDirectoryPath::GetTempDirectoryPath() {
  std::vector<char16_t> buffer(MAX_PATH);
  if (const DWORD length = GetTempPath(MAX_PATH, buffer.data()); length >= buffer.size()) {
    buffer.resize(std::size_t{length} + 1);
    GetTempPath(length + 1, buffer.data());
  }
  return COrvikDirectoryPath(PathFromUnits(buffer.data()));
}

COrvikDirectoryPath COrvikDirectoryPath::GetORVIKDirectoryPath() {
  return GetTempDirectoryPath() / kMakerFolder;
}

COrvikDirectoryPath COrvikDirectoryPath::GetApplicationTempFileDirectoryPath(
    const CAtlString& app_name) {
  const bool is_student = CPagewellEditionHelper::IsPagewellStudentMode() &&
                          app_name.CompareNoCase(CAtlString(kApplication)) == 0;
  return GetORVIKDirectoryPath() / (is_student ? CAtlString(kStudentApplication) : app_name) /
         u"TempFiles";
}

COrvikDirectoryPath COrvikDirectoryPath::GetPagewellTempDirectoryPath() {
  return GetORVIKDirectoryPath() /
         (CPagewellEditionHelper::IsPagewellStudentMode() ? kStudentApplication : kApplication);
}

COrvikDirectoryPath COrvikDirectoryPath::GetTempFileDirectoryPath() {
  if (GlobalTempFilePath().IsEmpty()) return GetTempDirectoryPath();
  return COrvikDirectoryPath(GlobalTempFilePath());
}

COrvikDirectoryPath CFileManipulator::GetSpecialDirectory(int folder, const CAtlString& sub_name) {
  std::optional<COrvikDirectoryPath> special = FindSpecialFolder(folder);
  if (!special) return COrvikDirectoryPath::GetApplicationTempFileDirectoryPath(sub_name);
  special->AddDirectoryToPath(sub_name);
  CDirectoryManipulator::CreateDirectory(*special);
  return *special;
}

std::optional<COrvikDirectoryPath> FindStandardFolder(FSVolumeRefNum domain, OSType type,
                                                      bool create) {
  FSRef ref;
  if (FSFindFolder(domain, type, create, &ref) != 0) return std::nullopt;
  const std::optional<std::string> path = PathOfReference(ref);
  return path ? std::optional(COrvikDirectoryPath(PathFromBytes(*path))) : std::nullopt;
}

bool CPagewellEditionHelper::m_bPagewellStudentMode = false;
bool CPagewellEditionHelper::m_bPagewellStudentUSBMode = false;

COrvikDirectoryPath& CPagewellEditionHelper::USBInstallDir() {
  static auto* const m_pathUSBInstallDir = new COrvikDirectoryPath;
  return *m_pathUSBInstallDir;
}

}  // namespace orvik
