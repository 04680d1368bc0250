// Any bytes as a configuration file: the store reads, writes, lists, deletes and saves. After
// loading the saved file again, the written values are there. A file that was discarded is kept.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "xml/config_store.h"

namespace {

using orvik::fuzz::Require;

namespace fs = std::filesystem;

void Use(const fs::path& file) {
  orvik::SetXMLConfig(1, orvik::COrvikFilePath());
  orvik::SetXMLConfig(1, orvik::COrvikFilePath(orvik::CAtlString(file.u16string())));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvik::fuzz::ScratchFolder folder;
  const fs::path file = folder.path() / "config.xml";
  const fs::path kept = folder.path() / "config.xml.discarded";
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  orvik::fuzz::WriteFile(file, bytes);
  Use(file);

  int number = 0;
  orvik::CAtlString text;
  orvik::CAtlArray<orvik::CAtlString> names;
  const bool usable = orvik::GetXMLConfigFileInfo(1).state == orvik::XMLConfigFileState::kUsable;
  orvik::GetXMLConfigInt(1, u"a", u"v", number);
  orvik::GetXMLConfigString(1, u"a/b", u"v", text);
  orvik::ListPreferencesXMLConfig(1, u"", names);
  orvik::DeleteXMLConfigValueElement(1, u"a", u"w");
  orvik::DeleteXMLSubKeyElement(1, u"a/b");
  Require(orvik::WriteXMLConfigInt(1, u"a/c", u"fuzz", 12345));
  Require(orvik::fuzz::ReadFile(file) == bytes);
  Require(orvik::SaveXMLConfigFile(1));
  if (!usable && size != 0) Require(orvik::fuzz::ReadFile(kept) == bytes);
  Use(file);
  Require(orvik::GetXMLConfigInt(1, u"A\\C", u"FUZZ", number) && number == 12345);
  fs::remove(kept);
  return 0;
}
