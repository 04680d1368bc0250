// Any bytes as a configuration file: the store reads, writes, lists, deletes and saves; what was
// written is there after loading the saved file again, and what was discarded is kept.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/require.h"
#include "xml/config_store.h"

namespace {

using orvik::fuzz::Require;

namespace fs = std::filesystem;

// Removed with all it holds at the end of the process.
struct Folder {
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "orvik-config-fuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path = pattern;
    setenv("TMPDIR", pattern.c_str(), 1);
  }
  ~Folder() {
    std::error_code error;
    fs::remove_all(path, error);
  }
  fs::path path;
};

void Use(const fs::path& file) {
  orvik::SetXMLConfig(1, orvik::COrvikFilePath());
  orvik::SetXMLConfig(1, orvik::COrvikFilePath(orvik::CAtlString(file.u16string())));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  const fs::path file = folder.path / "config.xml";
  const fs::path kept = folder.path / "config.xml.discarded";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  Use(file);

  int number = 0;
  orvik::CAtlString text;
  orvik::CAtlArray<orvik::CAtlString> names;
  const bool usable = orvik::FindXMLRootElement(1) != nullptr;
  orvik::GetXMLConfigInt(1, u"a", u"v", number);
  orvik::GetXMLConfigString(1, u"a/b", u"v", text);
  orvik::ListPreferencesXMLConfig(1, u"", names);
  orvik::DeleteXMLConfigValueElement(1, u"a", u"w");
  orvik::DeleteXMLSubKeyElement(1, u"a/b");
  Require(orvik::WriteXMLConfigInt(1, u"a/c", u"fuzz", 12345));
  if (!usable && size != 0) {
    std::ifstream stream(kept, std::ios::binary);
    const std::string content(std::istreambuf_iterator<char>(stream), {});
    Require(content == std::string(data, data + size));
  }
  Require(orvik::SaveXMLConfigFile(1));
  Use(file);
  Require(orvik::GetXMLConfigInt(1, u"A\\C", u"FUZZ", number) && number == 12345);
  fs::remove(kept);
  return 0;
}
