#include "files/path_text.h"

#include <cstddef>
#include <cstring>

#include "strings/text_view.h"

namespace orvik {
namespace {

constexpr std::size_t kLongestPath = MAX_PATH - 1;

template <class Unit>
int ExtensionIndex(std::basic_string_view<Unit> path) {
  constexpr Unit kMarks[] = {'.', '/', 0};
  const std::size_t at = path.find_last_of(kMarks);
  return at == path.npos || path[at] == Unit{'/'} ? -1 : static_cast<int>(at);
}

template <class Unit>
int RemoveExtension(Unit* path) {
  if (path == nullptr) return -1;
  const int index = ExtensionIndex(std::basic_string_view<Unit>(path));
  if (index >= 0) path[index] = 0;
  return index;
}

using namespace std::string_view_literals;

constexpr std::u16string_view kInvalidInPaths = u"|><?*\""sv;

bool HoldsInvalidInPaths(const CAtlString& text) {
  return text.View().find_first_of(kInvalidInPaths) != std::u16string_view::npos;
}

void RemoveInvalidInPaths(CAtlString& text) {
  for (const char16_t unit : kInvalidInPaths) text.Remove(unit);
}

// Whether the path begins with a drive prefix ("C:\").
bool HasDrivePrefix(const CAtlString& path) {
  return path.View().find(u":\\"sv) == 1;
}

}  // namespace

const char16_t* PathFindFileName(const char16_t* path) {
  std::u16string_view text = ViewOf(path);
  const std::size_t last = text.find_last_not_of(u'/');
  if (last == text.npos) return path;
  const std::size_t separator = text.find_last_of(u'/', last);
  return separator == text.npos ? path : path + separator + 1;
}

BOOL PathRemoveFileSpec(char16_t* path) {
  const std::u16string_view text = ViewOf(path);
  if (text.empty()) return FALSE;
  const std::size_t last = text.find_last_not_of(u'/');
  const std::size_t separator = last == text.npos ? text.npos : text.find_last_of(u'/', last);
  path[separator == text.npos ? 0 : separator] = 0;
  return TRUE;
}

BOOL PathAppend(char16_t* path, const char16_t* more) {
  if (path == nullptr) return FALSE;
  std::size_t length = ViewOf(path).size();
  if (length > kLongestPath) return FALSE;
  const std::u16string_view tail = ViewOf(more);
  const bool has_separator =
      (length > 0 && path[length - 1] == u'/') || (!tail.empty() && tail[0] == u'/');
  if (!has_separator) path[length++] = u'/';
  length += tail.copy(path + length, MAX_PATH - length);
  path[length] = 0;
  return TRUE;
}

char16_t* PathRemoveBackslash(char16_t* path) {
  if (path == nullptr) return nullptr;
  std::size_t length = ViewOf(path).size();
  while (length > 1 && path[length - 1] == u'/') path[--length] = 0;
  return path + length;
}

char16_t* PathAddBackslash(char16_t* path) {
  const std::size_t length = ViewOf(path).size();
  if (length > 0 && path[length - 1] != u'/') {
    path[length] = u'/';
    path[length + 1] = 0;
  }
  return path;
}

BOOL PathCanonicalize(char16_t* out, const char16_t* path) {
  const std::u16string_view text = ViewOf(path);
  if (out == nullptr || text.empty()) return FALSE;
  const std::size_t length = text.size();
  // The kept components are written from the end of the buffer to its start, each with the
  // separator before it. So they never overwrite text that is still to be read if both buffers are
  // the same.
  std::size_t kept = length;
  std::size_t pending = 0;
  std::size_t end = length;
  for (;;) {
    std::size_t start = end;
    while (start > 0 && path[start - 1] != u'/') --start;
    const bool has_separator = start > 0;
    const std::u16string_view component = text.substr(start, end - start);
    const bool is_between = component.empty() && has_separator && end != length;
    bool is_dropped = false;
    if (component == u".") {
      is_dropped = true;
    } else if (component == u"..") {
      is_dropped = true;
      ++pending;
    } else if (pending > 0 && (!component.empty() || is_between)) {
      is_dropped = true;
      --pending;
    }
    if (!is_dropped) {
      const std::size_t count = component.size() + (has_separator ? 1 : 0);
      kept -= count;
      std::memmove(out + kept, path + end - count, count * sizeof(char16_t));
    }
    if (!has_separator) break;
    end = start - 1;
  }
  std::memmove(out, out + kept, (length - kept) * sizeof(char16_t));
  out[length - kept] = 0;
  return TRUE;
}

int GetExtensionIndex(const char16_t* path) {
  return ExtensionIndex(ViewOf(path));
}

int GetExtensionIndexA(const char* path) {
  return path == nullptr ? -1 : ExtensionIndex(std::string_view(path));
}

const char16_t* PathFindExtension(const char16_t* path) {
  const int index = GetExtensionIndex(path);
  return index < 0 ? nullptr : path + index;
}

int PathRemoveExtension(char16_t* path) {
  return RemoveExtension(path);
}

int PathRemoveExtensionA(char* path) {
  return RemoveExtension(path);
}

BOOL PathRenameExtension(char16_t* path, const char16_t* extension) {
  const int index = GetExtensionIndex(path);
  const std::u16string_view text = ViewOf(extension);
  if (index < 0) return FALSE;
  const std::size_t first = static_cast<std::size_t>(index) + 1;
  if (text.size() > kLongestPath || first + text.size() > kLongestPath) return FALSE;
  // `extension` may point into `path`.
  if (!text.empty()) std::memmove(path + first, text.data(), text.size() * sizeof(char16_t));
  path[first + text.size()] = 0;
  return TRUE;
}

CAtlString FixFolderPathForPlatform(const CAtlString& path) {
  CAtlString fixed = path;
  // Replace copies a shared text even if it changes nothing.
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

bool MatchesWildcard(std::u16string_view name, std::u16string_view pattern) {
  while (!name.empty()) {
    if (pattern.empty()) return false;
    if (pattern.front() == u'*') {
      pattern.remove_prefix(1);
      if (pattern.empty()) return true;
      if (pattern.front() != u'?') {
        const std::size_t stop = name.find(pattern.front());
        name.remove_prefix(stop == std::u16string_view::npos ? name.size() : stop);
      }
    } else {
      if (pattern.front() != u'?' && pattern.front() != name.front()) return false;
      pattern.remove_prefix(1);
      name.remove_prefix(1);
    }
  }
  return pattern.empty() || pattern == u"*";
}

}  // namespace orvik
