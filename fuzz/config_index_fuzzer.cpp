// Any writes, reads and deletions in a document with many children. A store that uses its index
// gives the same results as a store whose elements the caller holds, which searches without an
// index.
#include <algorithm>
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

std::string Document(const char* scope) {
  std::string text = "<key name='ORVIK Technologies' scope='" + std::string(scope) + "'>";
  for (int i = 0; i < 30; ++i) {
    const std::string name = std::to_string(i % 24);
    text += "<value name='" + name + "' data='" + std::to_string(i) + "'/><KEY name='" + name +
            "'/><other/>";
  }
  return text + "</key>";
}

void Use(int scope, const fs::path& file) {
  orvik::SetXMLConfig(scope, orvik::COrvikFilePath());
  orvik::SetXMLConfig(scope, orvik::COrvikFilePath(orvik::CAtlString(file.u16string())));
}

// The text of the saved document after the name of its scope.
std::string Saved(int scope, const fs::path& file) {
  Require(orvik::SaveXMLConfigFile(scope));
  const std::string text = orvik::fuzz::ReadFile(file);
  return text.substr(text.find("scope="));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvik::fuzz::ScratchFolder folder;
  const fs::path files[] = {folder.path() / "walked.xml", folder.path() / "indexed.xml"};
  orvik::fuzz::WriteFile(files[0], Document("Global"));
  orvik::fuzz::WriteFile(files[1], Document("User"));
  for (const int scope : {0, 1}) Use(scope, files[scope]);
  Require(orvik::FindXMLRootElement(0) != nullptr);
  Require(orvik::GetXMLConfigFileInfo(1).state == orvik::XMLConfigFileState::kUsable);

  // Each step has 4 bytes: the operation, the path, the name, and the spelling of both.
  for (std::size_t at = 0; at + 4 <= std::min<std::size_t>(size, 4 * 200); at += 4) {
    const std::uint8_t* const step = data + at;
    const auto name = [&](std::uint8_t number) {
      orvik::CAtlString text;
      text.Format(u"%d", number % 40);
      // Three spellings of the same name, and a different name.
      if (step[3] % 4 != 0)
        text += step[3] % 4 == 1 ? u"\u00C4x" : step[3] % 4 == 2 ? u"\u00D6X" : u"x";
      return text;
    };
    const orvik::CAtlString value = name(step[2]);
    orvik::CAtlString path;
    for (int level = step[1] % 3; level > 0; --level) path += u"/" + name(step[1] / 3);
    bool answers[2] = {};
    int numbers[2] = {};
    for (const int scope : {0, 1}) {
      switch (step[0] % 4) {
        case 0:
          answers[scope] = orvik::WriteXMLConfigInt(scope, path, value, static_cast<int>(at));
          Require(answers[scope]);
          numbers[scope] = static_cast<int>(orvik::GetXMLConfigWriteStatus(scope));
          break;
        case 1:
          answers[scope] = orvik::DeleteXMLConfigValueElement(scope, path, value);
          break;
        case 2:
          answers[scope] = orvik::DeleteXMLSubKeyElement(scope, path);
          break;
        default:
          answers[scope] = orvik::GetXMLConfigInt(scope, path, value, numbers[scope]);
      }
    }
    Require(answers[0] == answers[1] && numbers[0] == numbers[1]);
  }
  const std::string walked = Saved(0, files[0]), indexed = Saved(1, files[1]);
  Require(walked.substr(walked.find('\n')) == indexed.substr(indexed.find('\n')));
  return 0;
}
