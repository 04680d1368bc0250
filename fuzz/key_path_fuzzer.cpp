// Key paths: the count, the single components, the split for a walk and the normal form are those
// of a simple reader of the text.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "prefs/key_path.h"

using orvik::fuzz::Require;

namespace {

// Separators at both ends are ignored; every other separator ends a component.
std::vector<std::u16string> PlainlyRead(std::u16string text) {
  constexpr std::u16string_view kSeparators = u"/\\";
  text.erase(text.find_last_not_of(kSeparators) + 1);
  text.erase(0, text.find_first_not_of(kSeparators));
  std::vector<std::u16string> names;
  while (!text.empty()) {
    const std::size_t end = text.find_first_of(kSeparators);
    names.push_back(text.substr(0, end));
    text.erase(0, end == text.npos ? end : end + 1);
  }
  return names;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  const std::u16string units(bytes.begin(), bytes.end());
  const orvik::CAtlString text{std::u16string_view(units)};
  const orvik::KeyPath path(text);
  const std::vector<std::u16string> names = PlainlyRead(units);
  const int count = static_cast<int>(names.size());
  Require(path.count() == count && orvik::GetDirCountFromPath(text) == count);
  Require(path.empty() == names.empty());
  std::u16string joined;
  for (int index = 1; index <= count; ++index) {
    const std::u16string& name = names[static_cast<std::size_t>(index) - 1];
    Require(path.name(index).View() == name);
    if (index <= 64) Require(orvik::GetPreferenceNameFromPath(text, index).View() == name);
    joined += (index > 1 ? u"\\" : u"") + name;
  }
  Require(path.text().View() == joined && text.View() == units);
  for (const int outside : {-1, 0, count + 1, 1 << 30}) {
    Require(orvik::GetPreferenceNameFromPath(text, outside).IsEmpty());
  }
  const orvik::KeyPath parent = path.Parent();
  Require(parent.count() == (path.empty() ? 0 : path.count() - 1));
  orvik::ExtractMacPreferencePathFromFullPath(text);
  return 0;
}
