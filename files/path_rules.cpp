#include "files/path_rules.h"

namespace orvik {
namespace {

using namespace std::string_view_literals;

constexpr std::u16string_view kInvalidInPaths = u"|><?*\""sv;

bool HoldsInvalidInPaths(const CAtlString& text) {
  return text.View().find_first_of(kInvalidInPaths) != std::u16string_view::npos;
}

void RemoveInvalidInPaths(CAtlString& text) {
  for (const char16_t unit : kInvalidInPaths) text.Remove(unit);
}

// Whether the path begins as C:\ does.
bool HasDrivePrefix(const CAtlString& path) {
  return path.View().find(u":\\"sv) == 1;
}

}  // namespace

CAtlString FixFolderPathForPlatform(const CAtlString& path) {
  CAtlString fixed = path;
  // Replacing copies a shared text even where it changes nothing.
  if (fixed.Find(u'\\') >= 0) fixed.Replace(u'\\', u'/');
  if (fixed.View().ends_with(u'/')) fixed = fixed.Left(fixed.GetLength() - 1);
  return fixed;
}

CAtlString FixFilePathForPlatform(const CAtlString& path) {
  return FixFolderPathForPlatform(path);
}

BOOL FileNameIsValidForAllPlatforms(const CAtlString& name) {
  return !HoldsInvalidInPaths(name) && name.View().find(u':') == std::u16string_view::npos;
}

BOOL FilePathIsValidForAllPlatforms(const CAtlString& path) {
  if (HoldsInvalidInPaths(path)) return FALSE;
  const std::u16string_view text = path.View();
  if (text.find(u':') == std::u16string_view::npos) return TRUE;
  return HasDrivePrefix(path) && text.find(u':', 2) == std::u16string_view::npos;
}

void FixFileNameInvalidCharacters(CAtlString& name) {
  RemoveInvalidInPaths(name);
  name.Remove(u':');
}

void FixFilePathInvalidCharacters(CAtlString& path) {
  RemoveInvalidInPaths(path);
  const int kept = HasDrivePrefix(path) ? 2 : 0;
  CAtlString rest = path.Mid(kept);
  rest.Remove(u':');
  path = path.Left(kept) + rest;
}

void CleanupPathNameBecauseWindowsHasBugs(CAtlString& path) {
  const int colon = path.ReverseFind(u':');
  if (colon > 3 && path[colon + 1] == u'\\') path = path.Mid(colon - 1);
}

}  // namespace orvik
