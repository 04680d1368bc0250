// Any bytes as the file of a domain, in every scope: a written value can be read, a removed value
// is gone, other entries stay, and a file that had to be replaced is kept beside the new one.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "fuzz/entries.h"
#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "prefs/key_path.h"
#include "prefs/preferences.h"

using orvik::CAtlString;
using orvik::fuzz::Entries;
using orvik::fuzz::Require;
using orvik::plist::Value;
namespace fs = std::filesystem;

namespace {

const CAtlString kDomain(u"com.example.Fuzz");
const CAtlString kValue(u"a value");

struct Machine : orvik::fuzz::ScratchFolder {
  Machine() {
    for (const int scope : {0, 1, 4}) fs::create_directories(Folder(scope));
  }
  fs::path Folder(int scope) const {
    return scope == 0   ? root() / "Users/Shared/Library/Preferences"
           : scope == 1 ? home() / "Library/Preferences"
                        : root() / "Library/Preferences";
  }
};

// Whether all other entries are equal.
bool OthersAreEqual(Value a, Value b, const CAtlString& name) {
  a.Remove(name);
  b.Remove(name);
  return a == b;
}

bool IsKept(const fs::path& folder, std::string_view bytes) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (orvik::fuzz::ReadFile(entry.path()) == bytes) return true;
  }
  return false;
}

struct Read {
  CAtlString text;
  bool found;
};

Read ReadText(int scope, const CAtlString& path, const CAtlString& name) {
  unsigned long error = 7;
  Read read;
  read.text =
      orvik::GetPreferenceString(scope, path, name, CAtlString(u"default"), &error, kDomain);
  read.found = error == orvik::kPreferenceSuccess;
  Require(read.found || (error == orvik::kPreferenceNotFound && read.text.View() == u"default"));
  orvik::GetPreferenceInt(scope, path, name, 3, &error, kDomain);
  Require((error == orvik::kPreferenceSuccess) == read.found);
  return read;
}

bool IsListed(int scope, const CAtlString& path, const CAtlString& name) {
  orvik::CAtlArray<CAtlString> names;
  orvik::ListPreferences(scope, path, names, kDomain);
  for (std::size_t i = 0; i < names.GetCount(); ++i) {
    if (names[i].View() == name.View()) return true;
  }
  return false;
}

}  // namespace

// The first byte chooses the scope. The key path and the name follow, up to line ends, and then the
// file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Machine machine;
  if (size == 0) return 0;
  constexpr int kScopes[] = {orvik::kSharedScope, orvik::kUserScope, orvik::kMachineScope};
  const int scope = kScopes[data[0] % 3];
  const std::string bytes = orvik::fuzz::Bytes(data + 1, size - 1);
  std::string_view file_bytes = bytes;
  const std::string_view path_bytes = orvik::fuzz::TakePart(file_bytes, '\n');
  const std::string_view name_bytes = orvik::fuzz::TakePart(file_bytes, '\n');
  const CAtlString path(std::u16string(path_bytes.begin(), path_bytes.end()));
  const CAtlString name(std::u16string(name_bytes.begin(), name_bytes.end()));
  const fs::path folder = machine.Folder(scope);
  const fs::path file = folder / "com.example.Fuzz.plist";
  orvik::fuzz::RemoveAllIn(folder);
  orvik::fuzz::WriteFile(file, file_bytes);
  const Value before = Entries(file_bytes);

  const Read first = ReadText(scope, path, name);
  Require(before.is_dictionary() || !first.found);
  const orvik::KeyPath keys(path);
  if (!keys.empty() && first.found) Require(IsListed(scope, path, name));
  Require(orvik::fuzz::ReadFile(file) == file_bytes);

  const orvik::DWORD written = orvik::WritePreferenceString(scope, path, name, kValue, kDomain);
  Require(written == orvik::kPreferenceSuccess ||
          (written == orvik::kPreferenceBadKey && !keys.empty()));
  const std::string now = orvik::fuzz::ReadFile(file);
  if (now == file_bytes) {
    // Either the value existed before, or it has no place in the file.
    const Read read = ReadText(scope, path, name);
    Require(read.text.View() == first.text.View() && read.found == first.found);
    Require(read.text.View() == kValue.View() || written == orvik::kPreferenceBadKey ||
            !before.is_dictionary());
    return 0;
  }
  Require(written == orvik::kPreferenceSuccess);
  Require(ReadText(scope, path, name).text.View() == kValue.View());
  const CAtlString top = keys.empty() ? name : keys.name(1);
  const Value after = Entries(now);
  Require(after.is_dictionary());
  Require(before ? OthersAreEqual(before, after, top) : IsKept(folder, file_bytes));

  Require(orvik::DeletePreference(scope, path, name, kDomain) == orvik::kPreferenceSuccess);
  Require(!ReadText(scope, path, name).found && !IsListed(scope, path, name));
  const Value end = Entries(orvik::fuzz::ReadFile(file));
  Require(end.is_dictionary() && OthersAreEqual(after, end, top));
  return 0;
}
