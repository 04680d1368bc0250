// The folders that the system knows by name.
#include <optional>
#include <string>
#include <vector>

#include "files/directory_manipulator.h"
#include "files/directory_path.h"
#include "files/edition.h"
#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "files/windows_file_refs.h"
#include "files/windows_temp_names.h"
#include "platform/carbon/folders.h"

namespace orvik {
namespace {

constexpr const char16_t* kMakerFolder = u"ORVIK Technologies";
constexpr const char16_t* kApplication = u"ORVIK Pagewell";
constexpr const char16_t* kStudentApplication = u"ORVIK Pagewell SE";

// A special folder of the Windows shell as the platform knows it.
struct SpecialFolder {
  int number;
  FSVolumeRefNum domain;
  OSType type;
};
constexpr SpecialFolder kSpecialFolders[] = {
    {5, kUserDomain, FourCC("docs")},    {12, kUserDomain, FourCC("docs")},
    {10, kUserDomain, FourCC("trsh")},   {16, kUserDomain, FourCC("desk")},
    {25, kSystemDomain, FourCC("sdsk")}, {26, kUserDomain, FourCC("asup")},
    {28, kLocalDomain, FourCC("asup")},  {35, kSystemDomain, FourCC("asup")},
    {38, kSystemDomain, FourCC("apps")},
};

// The empty path when the platform does not find it.
COrvikDirectoryPath FindSpecialFolder(int number) {
  for (const SpecialFolder& special : kSpecialFolders) {
    FSRef ref;
    if (special.number != number || FSFindFolder(special.domain, special.type, false, &ref) != 0) {
      continue;
    }
    if (const std::optional<std::string> path = PathOfReference(ref)) {
      return COrvikDirectoryPath(PathFromBytes(*path));
    }
  }
  return {};
}

}  // namespace

CAtlString COrvikDirectoryPath::my_GlobalTempFilePath;

COrvikDirectoryPath COrvikDirectoryPath::GetTempDirectoryPath() {
  std::vector<char16_t> buffer(MAX_PATH);
  if (const DWORD length = GetTempPath(MAX_PATH, buffer.data()); length >= buffer.size()) {
    buffer.resize(std::size_t{length} + 1);
    GetTempPath(length + 1, buffer.data());
  }
  return COrvikDirectoryPath(PathFromUnits(buffer.data()));
}

COrvikDirectoryPath COrvikDirectoryPath::GetORVIKDirectoryPath() {
  COrvikDirectoryPath folder = GetTempDirectoryPath();
  folder.AddDirectoryToPath(kMakerFolder);
  return folder;
}

COrvikDirectoryPath COrvikDirectoryPath::GetApplicationTempFileDirectoryPath(
    const CAtlString& app_name) {
  COrvikDirectoryPath folder = GetORVIKDirectoryPath();
  const bool is_student = CPagewellEditionHelper::IsPagewellStudentMode() &&
                          app_name.CompareNoCase(CAtlString(kApplication)) == 0;
  folder.AddDirectoryToPath(is_student ? CAtlString(kStudentApplication) : app_name);
  folder.AddDirectoryToPath(u"TempFiles");
  return folder;
}

COrvikDirectoryPath COrvikDirectoryPath::GetPagewellTempDirectoryPath() {
  COrvikDirectoryPath folder = GetORVIKDirectoryPath();
  folder.AddDirectoryToPath(CPagewellEditionHelper::IsPagewellStudentMode() ? kStudentApplication
                                                                            : kApplication);
  return folder;
}

void COrvikDirectoryPath::SetTempFileDirectoryPath(const COrvikDirectoryPath& folder) {
  my_GlobalTempFilePath = folder.path_;
}

COrvikDirectoryPath COrvikDirectoryPath::GetTempFileDirectoryPath() {
  if (my_GlobalTempFilePath.IsEmpty()) return GetTempDirectoryPath();
  return COrvikDirectoryPath(my_GlobalTempFilePath);
}

COrvikDirectoryPath CFileManipulator::GetSpecialDirectory(int folder, const CAtlString& sub_name) {
  COrvikDirectoryPath special = FindSpecialFolder(folder);
  if (special.IsEmptyPath() != FALSE) {
    return COrvikDirectoryPath::GetApplicationTempFileDirectoryPath(sub_name);
  }
  special.AddDirectoryToPath(sub_name);
  CDirectoryManipulator::CreateDirectory(special);
  return special;
}

}  // namespace orvik
