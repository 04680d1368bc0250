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
#include "host/file_names.h"
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

// The text up to the first NUL.
std::string TextOf(const CAtlStringA& content) {
  return std::string(content.View().substr(0, content.View().find('\0')));
}

// The URL in the text of a shortcut file; empty when it has none.
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

// The text in UTF-8 without a byte-order mark; UTF-16 with a mark is converted.
CAtlStringA WithoutMark(const CAtlStringA& content) {
  const std::string_view bytes = content.View();
  if (bytes.starts_with("\xEF\xBB\xBF"sv)) return CAtlStringA(bytes.substr(3));
  const bool is_big = bytes.starts_with("\xFE\xFF"sv);
  if (!is_big && !bytes.starts_with("\xFF\xFE"sv)) return content;
  std::u16string units;
  for (std::size_t at = 2; at + 1 < bytes.size(); at += 2) {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    units += static_cast<char16_t>(is_big ? first << 8 | second : second << 8 | first);
  }
  return MakeUTF8StringFromUnicodeString(CAtlString(units));
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r";
  text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
  return text.substr(0, text.find_last_not_of(kBlank) + 1);
}

// A value of a desktop entry with its escapes decoded.
std::string Unescaped(std::string_view value) {
  constexpr std::string_view kNames = "sntr\\";
  constexpr std::string_view kMeanings = " \n\t\r\\";
  std::string plain;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const std::size_t escape =
        value[at] == '\\' && at + 1 < value.size() ? kNames.find(value[at + 1]) : kNone;
    if (escape != kNone) ++at;
    plain += escape == kNone ? value[at] : kMeanings[escape];
  }
  return plain;
}

// The URL of a desktop entry that is a link; no value for other texts.
std::optional<std::string> UrlOfDesktopEntry(std::string_view text) {
  bool is_in_group = false;
  bool is_link = false;
  std::string url;
  while (!text.empty()) {
    const std::string_view line = Trimmed(text.substr(0, text.find('\n')));
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      if (is_in_group) break;  // the first group is the entry
      if (line != "[Desktop Entry]"sv) return std::nullopt;
      is_in_group = true;
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!is_in_group || equals == kNone) return std::nullopt;
    const std::string_view key = Trimmed(line.substr(0, equals));
    const std::string_view value = Trimmed(line.substr(equals + 1));
    if (key == "Type"sv) is_link = value == "Link"sv;
    if (key == "URL"sv) url = Unescaped(value);
  }
  if (!is_link) return std::nullopt;
  return url;
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
  const int error =
      path ? host::ReplaceFile(*path, text.View(), {.present = host::Present::kRefuse}).error
           : EINVAL;
  return error == 0 || error == EEXIST ? S_OK : E_INVALIDARG;
}

CAtlString CFileManipulator::ResolveURLShortcut(const COrvikFilePath& shortcut) {
  const std::string text = TextOf(ReadWhole(shortcut));
  return CAtlString(CAtlStringA(FindUrl(text)));
}

CAtlString CFileManipulator::ResolveLinkFile(const COrvikFilePath& link) {
  const CAtlStringA content = ReadWhole(link);
  const CAtlStringA text = WithoutMark(content);
  const std::optional<std::string> entry = UrlOfDesktopEntry(text.View());
  const std::string_view found = entry ? std::string_view(*entry) : FindUrl(text.View());
  const CAtlStringA url(found.substr(0, found.find('\0')));
  const bool may_be_latin1 = !entry && text.GetLength() == content.GetLength();
  const CAtlString wide = MakeWideStringFromUTF8String(url);
  return wide.IsEmpty() && may_be_latin1 ? CAtlString(url) : wide;
}

HRESULT CFileManipulator::CreateShortcut(const COrvikFilePath& shortcut,
                                         const COrvikFilePath& target) {
  const std::optional<std::string> path = host::FileNameToBytes(target.GetFilePathString().View());
  // ResolveShortcut takes a "\" as a separator.
  if (!path || path->find('\\') != std::string::npos) return E_INVALIDARG;
  return WriteAsciiStringToFile(shortcut, path->data(), static_cast<unsigned long>(path->size()));
}

COrvikFilePath CFileManipulator::ResolveShortcut(const COrvikFilePath& shortcut) {
  return COrvikFilePath(CAtlString(host::FileNameFromBytes(TextOf(ReadWhole(shortcut)))));
}

}  // namespace orvik
