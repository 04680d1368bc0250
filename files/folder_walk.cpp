#include "files/folder_walk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "files/path_arguments.h"
#include "host/at_path.h"
#include "host/file_names.h"
#include "host/folder_list.h"
#include "text/normalization.h"
#include "text/spelling.h"

namespace orvik {
namespace {

EntryKind KindOf(mode_t type) {
  if (S_ISDIR(type)) return EntryKind::kFolder;
  return S_ISREG(type) || S_ISLNK(type) ? EntryKind::kFile : EntryKind::kSpecial;
}

struct ListedEntry {
  std::string on_disk;
  std::u16string name;
  std::u16string composed;  // empty when the name has one spelling
  EntryKind kind;
};

}  // namespace

int WalkFolder(int folder, const std::function<void(const FolderEntry&)>& visit) {
  std::vector<ListedEntry> entries;
  std::unordered_map<std::u16string_view, int> composed_names;
  const int error = host::ListFolder(folder, [&](const dirent& entry) {
    ListedEntry& listed = entries.emplace_back();
    listed.on_disk = entry.d_name;
    listed.name = host::FileNameFromBytes(listed.on_disk);
    listed.kind = KindOf(host::EntryType(folder, entry));
    if (!HasOneSpelling(listed.name)) listed.composed = Composed(listed.name);
    return 0;
  });
  for (const ListedEntry& entry : entries) {
    if (!entry.composed.empty()) ++composed_names[entry.composed];
  }
  for (const ListedEntry& entry : entries) {
    const bool is_composed = !entry.composed.empty() && composed_names[entry.composed] == 1 &&
                             !HasOneSpelling(entry.composed);
    visit({is_composed ? entry.composed : entry.name, entry.on_disk.c_str(), entry.kind});
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
