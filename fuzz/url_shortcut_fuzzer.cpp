// Any bytes as a shortcut file: the URL that is found is a part of them, complete by the rules, and
// a written URL is found again.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "files/file_manipulator.h"
#include "files/file_path.h"
#include "files/urls.h"
#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvik::fuzz::ScratchFolder scratch;
  const std::filesystem::path path = scratch.path() / "shortcut.url";
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  orvik::fuzz::WriteFile(path, bytes);
  const orvik::COrvikFilePath file(orvik::CAtlString(path.u16string()));
  orvik::CAtlString url = orvik::CFileManipulator::ResolveURLShortcut(file);

  const std::string found(orvik::CAtlStringA(url).View());
  const bool is_property_list = bytes.find("<key>URL</key>\n\t<string>") != std::string::npos;
  Require(bytes.find(found) != std::string::npos);
  Require(found.empty() || is_property_list || bytes.starts_with("[InternetShortcut]"));
  Require(is_property_list || found.find_first_of("\n\r\t \"") == std::string::npos);

  const orvik::BOOL is_usable = orvik::MakeValidHyperlink(url);
  Require(is_usable == orvik::FALSE || orvik::IsValidURL(url) != orvik::FALSE);
  if (is_usable != orvik::FALSE && !is_property_list) {
    std::filesystem::remove(path);
    Require(orvik::CFileManipulator::CreateURLShortcut(url, file) == 0);
    Require(orvik::CFileManipulator::ResolveURLShortcut(file).Compare(url) == 0);
  }
  return 0;
}
