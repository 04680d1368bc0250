#include "files/file_path.h"

#include <unistd.h>

#include <algorithm>

#include "files/directory_path.h"
#include "files/path_rules.h"
#include "files/trace.h"
#include "files/windows_time.h"

namespace orvik {
namespace {

constexpr auto kNone = std::u16string_view::npos;

// The name within the path.
std::u16string_view NameOf(std::u16string_view path) {
  const std::size_t slash = path.rfind(u'/');
  return slash == kNone ? path : path.substr(slash + 1);
}

// From the last dot of the name to its end; empty when there is none.
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

}  // namespace

COrvikFilePath::COrvikFilePath(const CAtlString& path) : path_(FixFilePathForPlatform(path)) {}

BOOL COrvikFilePath::createFromFileURL(const CAtlString& url) {
  const std::size_t scheme = url.View().find(u"file:");
  if (scheme == kNone) return FALSE;
  path_ = FixFolderPathForPlatform(url.Mid(static_cast<int>(scheme) + 7));
  return TRUE;
}

CAtlString COrvikFilePath::GetFilePathString() const {
  return path_;
}

CAtlStringA COrvikFilePath::GetFilePathStringA() const {
  ATLTRACE(
      "\r\n\r\nIMPORTANT: you are calling COrvikFilePath::GetFilePathStringA().\r\n"
      "This function may cause problems if the path contains Unicode characters.\r\n"
      "Please rewrite your code not to use this function.");
  return CAtlStringA(path_);
}

BOOL COrvikFilePath::IsEmptyPath() const {
  return path_.IsEmpty();
}

void COrvikFilePath::Empty() {
  path_.Empty();
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

BOOL COrvikFilePath::IsEqualPath(const COrvikFilePath& other) const {
  return path_.CompareNoCase(other.path_) == 0;
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

}  // namespace orvik
