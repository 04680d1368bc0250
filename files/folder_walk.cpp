#include "files/folder_walk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "files/path_arguments.h"
#include "host/at_path.h"
#include "host/file_names.h"
#include "host/folder_list.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"

namespace orvik {
namespace {

EntryKind KindOf(mode_t type) {
  if (S_ISDIR(type)) return EntryKind::kFolder;
  return S_ISREG(type) || S_ISLNK(type) ? EntryKind::kFile : EntryKind::kSpecial;
}

constexpr std::size_t kOneSpelling = static_cast<std::size_t>(-1);

struct ListedEntry {
  std::size_t name_at;      // in the names
  std::size_t composed_at;  // or kOneSpelling
  EntryKind kind;
  bool is_composed = true;  // on disk
};

}  // namespace

int WalkFolder(int folder, const std::function<void(const FolderEntry&)>& visit) {
  std::string names;  // each with its 0 at the end
  std::vector<ListedEntry> entries;
  std::vector<std::u16string> composed;
  bool all_composed = true;
  const int error = host::ListFolder(folder, [&](const dirent& entry) {
    const std::string_view name = entry.d_name;
    ListedEntry listed{names.size(), kOneSpelling, KindOf(host::EntryType(folder, entry))};
    names.append(name).push_back('\0');
    if (!IsAscii(name)) {
      const std::u16string units = host::FileNameFromBytes(name);
      if (!HasOneSpelling(units)) {
        listed.composed_at = composed.size();
        listed.is_composed = composed.emplace_back(Composed(units)) == units;
        all_composed = all_composed && listed.is_composed;
      }
    }
    entries.push_back(listed);
    return 0;
  });
  std::unordered_map<std::u16string_view, int> uses;
  if (!all_composed) {
    for (const std::u16string& name : composed) ++uses[name];
  }
  // A composed name that several entries have, or that would not lead to the entry, is not used.
  const auto is_used = [&](const ListedEntry& entry) {
    if (entry.composed_at == kOneSpelling) return false;
    const std::u16string& name = composed[entry.composed_at];
    return entry.is_composed || (uses[name] == 1 && !HasOneSpelling(name));
  };
  std::u16string units;
  for (const ListedEntry& entry : entries) {
    const char* const on_disk = names.data() + entry.name_at;
    if (is_used(entry)) {
      units = composed[entry.composed_at];
    } else if (const std::string_view name = on_disk; IsAscii(name)) {
      units.assign(name.begin(), name.end());
    } else {
      units = host::FileNameFromBytes(name);
    }
    visit({units, on_disk, entry.kind});
  }
  return error;
}

int WalkFolder(const COrvikDirectoryPath& folder,
               const std::function<void(const FolderEntry&)>& visit) {
  const std::optional<std::string> path = PathForLibc(folder.GetDirectoryPathString());
  if (!path) return ENOENT;
  const host::Descriptor opened = host::OpenPath(*path, O_RDONLY | O_DIRECTORY);
  return opened ? WalkFolder(opened.get(), visit) : errno;
}

}  // namespace orvik
