// Any bytes as a shortcut file: the URL found is a piece of them, whole as the rules say, and one
// that is written is found again.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "files/file_manipulator.h"
#include "files/file_path.h"
#include "files/urls.h"
#include "fuzz/require.h"

using orvik::fuzz::Require;

namespace {

// A name for a file that is removed at the end of the process.
struct ScratchFile {
  ScratchFile() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "orvik-url-fuzz-XXXXXX").string();
    const int file = mkstemp(pattern.data());
    Require(file >= 0);
    close(file);
    path = pattern;
  }
  ~ScratchFile() { unlink(path.c_str()); }
  std::filesystem::path path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchFile scratch;
  const std::string bytes(data, data + size);
  std::ofstream(scratch.path, std::ios::binary | std::ios::trunc) << bytes;
  const orvik::COrvikFilePath file(orvik::CAtlString(scratch.path.u16string()));
  orvik::CAtlString url = orvik::CFileManipulator::ResolveURLShortcut(file);

  const std::string found(orvik::CAtlStringA(url).View());
  const bool is_property_list = bytes.find("<key>URL</key>\n\t<string>") != std::string::npos;
  Require(bytes.find(found) != std::string::npos);
  Require(found.empty() || is_property_list || bytes.starts_with("[InternetShortcut]"));
  Require(is_property_list || found.find_first_of("\n\r\t \"") == std::string::npos);

  const orvik::BOOL is_usable = orvik::MakeValidHyperlink(url);
  Require(is_usable == orvik::FALSE || orvik::IsValidURL(url) != orvik::FALSE);
  if (is_usable != orvik::FALSE && !is_property_list) {
    unlink(scratch.path.c_str());
    Require(orvik::CFileManipulator::CreateURLShortcut(url, file) == 0);
    Require(orvik::CFileManipulator::ResolveURLShortcut(file).Compare(url) == 0);
  }
  return 0;
}
