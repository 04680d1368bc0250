// Shortcut files: members of CFileManipulator.
#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "files/urls.h"
#include "host/replace_file.h"
#include "strings/utf8_strings.h"

namespace orvik {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kInternetShortcut = "[InternetShortcut]"sv;
constexpr std::string_view kUrlKey = "URL="sv;
constexpr std::string_view kPropertyListStart = "<key>URL</key>\n\t<string>"sv;
constexpr std::string_view kPropertyListEnd = "</string>\n"sv;
constexpr std::string_view kDelimiters = "\n\r\t \""sv;
constexpr auto kNone = std::string_view::npos;

CAtlStringA ReadWhole(const COrvikFilePath& file) {
  unsigned char* bytes = nullptr;
  const unsigned long count = CFileManipulator::ReadFileIntoBuffer(file, bytes);
  const std::unique_ptr<unsigned char[]> owned(bytes);
  return CAtlStringA(std::string_view(reinterpret_cast<const char*>(bytes), count));
}

// The URL in the text of a shortcut file; empty when there is none.
std::string_view FindUrl(std::string_view text) {
  if (const std::size_t start = text.find(kPropertyListStart); start != kNone) {
    text.remove_prefix(start + kPropertyListStart.size());
    const std::size_t end = text.find(kPropertyListEnd);
    return end == kNone ? std::string_view() : text.substr(0, end);
  }
  const std::size_t key = text.find(kUrlKey);
  if (!text.starts_with(kInternetShortcut) || key == kNone) return {};
  text.remove_prefix(key + kUrlKey.size());
  text.remove_prefix(std::min(text.find_first_not_of(kDelimiters), text.size()));
  return text.substr(0, text.find_first_of(kDelimiters));
}

}  // namespace

HRESULT CFileManipulator::CreateURLShortcut(const CAtlString& url, const COrvikFilePath& shortcut) {
  if (shortcut.IsEmptyPath() != FALSE || shortcut.IsDirectory() != FALSE) return E_INVALIDARG;
  if (shortcut.FileExists() != FALSE) return S_OK;
  if (url.IsEmpty()) return E_INVALIDARG;
  CAtlString repaired = url;
  MakeValidHyperlink(repaired);
  const CAtlStringA text = "[InternetShortcut]\nURL=" + CAtlStringA(repaired) + "\n";
  const std::optional<std::string> path = PathForLibc(shortcut.GetFilePathString());
  const int error = path ? host::CreateFile(*path, text.View()) : EINVAL;
  return error == 0 || error == EEXIST ? S_OK : E_INVALIDARG;
}

CAtlString CFileManipulator::ResolveURLShortcut(const COrvikFilePath& shortcut) {
  if (shortcut.FileExists() == FALSE) return {};
  const CAtlStringA content = ReadWhole(shortcut);
  // Behind a NUL there is no text.
  const std::string_view text = content.View().substr(0, content.View().find('\0'));
  return CAtlString(CAtlStringA(FindUrl(text)));
}

HRESULT CFileManipulator::CreateShortcut(const COrvikFilePath& shortcut,
                                         const COrvikFilePath& target) {
  const CAtlStringA path = MakeUTF8StringFromUnicodeString(target.GetFilePathString());
  return WriteAsciiStringToFile(shortcut, path, static_cast<unsigned long>(path.GetLength()));
}

COrvikFilePath CFileManipulator::ResolveShortcut(const COrvikFilePath& shortcut) {
  if (shortcut.FileExists() == FALSE) return {};
  return COrvikFilePath(MakeWideStringFromUTF8String(ReadWhole(shortcut)));
}

}  // namespace orvik
