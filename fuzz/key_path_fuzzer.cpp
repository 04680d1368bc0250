// Key paths: the count, the single components and the split for a walk agree, none holds a
// separator, and a path without empty components is put together again from them.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "prefs/key_path.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  const std::u16string units(bytes.begin(), bytes.end());
  const orvik::CAtlString text{std::u16string_view(units)};
  const orvik::KeyPath path(text);
  Require(path.count() == orvik::GetDirCountFromPath(text));
  Require(path.empty() == (path.count() == 0));
  std::u16string joined;
  for (int index = 1; index <= path.count(); ++index) {
    const std::u16string_view name = path.name(index).View();
    Require(name.find_first_of(u"/\\") == name.npos);
    if (index <= 64) Require(orvik::GetPreferenceNameFromPath(text, index).View() == name);
    if (index > 1) joined += u'\\';
    joined += name;
  }
  Require(path.text().View() == joined);
  Require(orvik::GetPreferenceNameFromPath(text, path.count() + 1).IsEmpty());
  const orvik::KeyPath parent = path.Parent();
  Require(parent.count() == (path.empty() ? 0 : path.count() - 1));
  orvik::ExtractMacPreferencePathFromFullPath(text);
  return 0;
}
