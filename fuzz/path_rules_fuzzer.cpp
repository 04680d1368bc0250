// The rules for names and paths: a repaired name is valid, repairing it again changes nothing, and
// a pattern without wildcards matches only itself.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "files/path_text.h"
#include "fuzz/require.h"

using orvik::CAtlString;
using orvik::fuzz::Require;

// The first byte is the length of the pattern; the pattern and the name follow.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes = orvik::fuzz::Bytes(data + 1, size - 1);
  const std::u16string all(bytes.begin(), bytes.end());
  const std::u16string_view view(all);
  const std::u16string_view pattern = view.substr(0, data[0]);
  const std::u16string_view name = view.substr(pattern.size());

  const bool matches = orvik::MatchesWildcard(name, pattern);
  if (pattern.find_first_of(u"*?") == pattern.npos) Require(matches == (name == pattern));
  Require(orvik::MatchesWildcard(name, u"*"));
  Require(orvik::MatchesWildcard(name, std::u16string(name.size(), u'?')));

  CAtlString repaired(name);
  orvik::FixFileNameInvalidCharacters(repaired);
  Require(orvik::FileNameIsValidForAllPlatforms(repaired));
  if (orvik::FileNameIsValidForAllPlatforms(CAtlString(name))) Require(repaired.View() == name);

  CAtlString path(name);
  orvik::FixFilePathInvalidCharacters(path);
  const CAtlString once(path);
  orvik::FixFilePathInvalidCharacters(path);
  Require(path.View() == once.View());
  if (orvik::FilePathIsValidForAllPlatforms(CAtlString(name))) Require(once.View() == name);

  const CAtlString folder = orvik::FixFolderPathForPlatform(CAtlString(name));
  Require(folder.View().find(u'\\') == std::u16string_view::npos);
  Require(folder.View() == orvik::FixFilePathForPlatform(CAtlString(name)).View());
  orvik::CleanupPathNameBecauseWindowsHasBugs(path);
  return 0;
}
