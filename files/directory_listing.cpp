#include "files/path_disk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "files/path_text.h"
#include "files/progress.h"
#include "host/descriptor.h"
#include "host/file_names.h"
#include "host/paths.h"
#include "host/tree_walk.h"
#include "platform/core_foundation/errno_status.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"

namespace orvik {
namespace {

// Adds the path. False without enough memory; the array is then unchanged.
template <typename Path>
bool Append(CAtlArray<Path>& paths, const Path& path) {
  const auto count = paths.GetCount();
  paths.Add(path);
  return paths.GetCount() > count;
}

// A search for folders, depth first, on open folders.
class FolderSearch {
 public:
  FolderSearch(const CAtlString& pattern, CAtlArray<COrvikDirectoryPath>* found, BOOL recursive,
               TreeReport* report, host::Monitor* monitor)
      : pattern_(pattern),
        found_(found),
        is_recursive_(recursive != FALSE),
        report_(report),
        monitor_(monitor) {}

  void Run(const COrvikDirectoryPath& top, const std::string& on_disk) {
    if (!Search(top, {}, host::OpenPath(on_disk, O_RDONLY | O_DIRECTORY))) return;
    while (walk_.depth() != 0) {
      const std::optional<std::string> next = walk_.TakeSubfolder();
      if (!next) {
        // If the folder was moved away meanwhile, its siblings cannot be found and are not
        // searched.
        if (const int error = walk_.Leave()) return Fail(top, error);
        continue;
      }
      const COrvikDirectoryPath folder = std::move(waiting_.back());
      waiting_.pop_back();
      if (!Search(folder, *next, walk_.OpenSubfolder(*next))) return;
    }
  }

 private:
  void Fail(const COrvikDirectoryPath& folder, int error) {
    AddFailure(COrvikFilePath(folder.GetDirectoryPathString()), error, host::Side::kSource,
               report_);
  }

  // Searches one folder, whose name on disk is `name`. False when the search was stopped.
  bool Search(const COrvikDirectoryPath& folder, const std::string& name, host::Descriptor opened) {
    int error = opened ? 0 : errno;
    if (host::IsStopped(monitor_) || !host::Begins(monitor_, walk_.path(), name)) {
      Fail(folder, ECANCELED);
      return false;
    }
    std::uint64_t count = 0;
    bool lacks_memory = false;
    std::vector<std::string> subfolders;
    const std::size_t waiting_above = waiting_.size();
    const auto visit = [&](const FolderEntry& entry) {
      ++count;
      if (entry.kind != EntryKind::kFolder) return true;
      const bool matches = MatchesWildcard(entry.name, pattern_.View());
      if (!matches && !is_recursive_) return true;
      COrvikDirectoryPath subfolder = folder;
      subfolder.AddDirectoryToPath(PathFromUnits(entry.name));
      if (matches && !Append(*found_, subfolder)) {
        lacks_memory = true;
        return false;
      }
      if (!is_recursive_) return true;
      subfolders.emplace_back(entry.name_on_disk);
      waiting_.push_back(std::move(subfolder));
      return true;
    };
    if (error == 0) error = WalkFolder(opened.get(), visit);
    if (lacks_memory) error = ENOMEM;
    if (error == 0 && !subfolders.empty()) error = walk_.Enter(std::move(opened), name);
    if (error != 0) {
      waiting_.resize(waiting_above, folder);
    } else {
      for (std::string& subfolder : subfolders) walk_.AddSubfolder(std::move(subfolder));
    }
    if (error != 0 && error != ENOENT) Fail(folder, error);  // ignore vanished folders
    host::Advances(monitor_, count, 0);
    return true;
  }

  const CAtlString& pattern_;
  CAtlArray<COrvikDirectoryPath>* const found_;
  const bool is_recursive_;
  TreeReport* const report_;
  host::Monitor* const monitor_;
  host::TreeWalk walk_;
  std::vector<COrvikDirectoryPath> waiting_;  // the subfolders still to be searched
};

EntryKind KindOf(mode_t type) {
  if (S_ISDIR(type)) return EntryKind::kFolder;
  return S_ISREG(type) || S_ISLNK(type) ? EntryKind::kFile : EntryKind::kSpecial;
}

constexpr std::size_t kOneSpelling = static_cast<std::size_t>(-1);

struct ListedEntry {
  std::size_t name_at;      // index in the names
  std::size_t composed_at;  // index in the composed names, or kOneSpelling
  EntryKind kind;
  bool is_composed = true;  // whether the name on disk is composed
};

}  // namespace

void COrvikDirectoryPath::ListSubDirectories(const CAtlString& pattern,
                                             CAtlArray<COrvikDirectoryPath>& folders,
                                             BOOL recursive, TreeReport* report,
                                             Progress* progress) const {
  const std::optional<std::string> top = PathForLibc(path_);
  if (!top) return;
  host::Monitor* const monitor = MonitorOf(progress, COrvikFilePath(path_));
  FolderSearch(pattern, &folders, recursive, report, monitor).Run(*this, *top);
  SortPaths(folders);
}

OSErr COrvikDirectoryPath::FindFilesInDirectory(const CAtlString& pattern,
                                                CAtlArray<COrvikFilePath>& files,
                                                Progress* progress) const {
  if (DirectoryExists() == FALSE) return 0;
  host::Monitor* const monitor = MonitorOf(progress, COrvikFilePath(path_));
  int error = host::Begins(monitor, {}, {}) ? 0 : ECANCELED;
  bool lacks_memory = false;
  const auto visit = [&](const FolderEntry& entry) {
    if (entry.kind != EntryKind::kFolder && MatchesWildcard(entry.name, pattern.View())) {
      lacks_memory = !Append(files, CreateFilePath(PathFromUnits(entry.name)));
    }
    return !lacks_memory && host::Advances(monitor, 1, 0);
  };
  if (error == 0) error = WalkFolder(*this, visit);
  if (lacks_memory) error = ENOMEM;
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

int WalkFolder(int folder, const std::function<bool(const FolderEntry&)>& visit) {
  std::string names;  // each followed by a 0 byte
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
  // A composed name is not used if several entries have it or if it would not lead to the entry.
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
    if (!visit({units, on_disk, entry.kind})) return ECANCELED;
  }
  return error;
}

int WalkFolder(const COrvikDirectoryPath& folder,
               const std::function<bool(const FolderEntry&)>& visit) {
  const std::optional<std::string> path = PathForLibc(folder.GetDirectoryPathString());
  if (!path) return ENOENT;
  const host::Descriptor opened = host::OpenPath(*path, O_RDONLY | O_DIRECTORY);
  return opened ? WalkFolder(opened.get(), visit) : errno;
}

}  // namespace orvik
