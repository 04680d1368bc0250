#include "host/folder_nesting.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "host/descriptor.h"
#include "host/paths.h"
#include "host/proc.h"
#include "host/replace_file.h"

namespace orvik::host {
namespace {

// Resolves "." and ".." in the part of a path that does not exist. `went_up` says whether it had
// "..". A ".." at its start remains, because it refers to the existing part.
std::string WithoutDots(std::string_view missing, bool* went_up) {
  std::vector<std::string_view> names;
  *went_up = false;
  for (std::size_t start = 0; start < missing.size();) {
    const std::size_t slash = std::min(missing.find('/', start), missing.size());
    const std::string_view name = missing.substr(start, slash - start);
    start = slash + 1;
    if (name.empty() || name == ".") continue;
    if (name != "..") {
      names.push_back(name);
      continue;
    }
    *went_up = true;
    if (names.empty() || names.back() == "..") {
      names.push_back(name);
    } else {
      names.pop_back();
    }
  }
  std::string clean;
  for (const std::string_view name : names) clean.append("/").append(name);
  return clean;
}

// Opens the innermost existing folder on the way to `path`; empty on failure.
Descriptor OpenExisting(std::string path) {
  if (path.empty()) return Descriptor();
  if (path.front() != '/') path = "./" + path;
  for (;;) {
    std::string existing = path;
    Descriptor folder;
    while (!(folder = OpenPath(existing, kOpenPlace))) {
      const std::size_t slash = existing.rfind('/');
      if (slash == std::string::npos || existing == "/") return Descriptor();
      existing.resize(std::max<std::size_t>(slash, 1));
    }
    bool went_up = false;
    const std::string rest = WithoutDots(std::string_view(path).substr(existing.size()), &went_up);
    // After a "..", the rest of the path may exist and may be a link.
    if (!went_up) return folder;
    path = existing + rest;
  }
}

std::uint64_t MountIdOf(int folder) {
  struct statx info;
  const bool is_known = statx(folder, "", AT_EMPTY_PATH, STATX_MNT_ID, &info) == 0 &&
                        (info.stx_mask & STATX_MNT_ID) != 0;
  return is_known ? info.stx_mnt_id : 0;
}

// The place of an open folder: its mount, its path, and its path in its file system.
struct MountedPlace {
  const Mount* mount = nullptr;
  std::string path;
  std::string path_in_system;
};

std::optional<MountedPlace> PlaceOf(int folder, const std::vector<Mount>& mounts) {
  const std::optional<std::string> path = PathOf(folder);
  const std::uint64_t id = MountIdOf(folder);
  if (!path || id == 0) return {};
  MountedPlace place{nullptr, *path, {}};
  for (const Mount& mount : mounts) {
    if (mount.id != id || !LiesBelow(place.path, mount.point)) continue;
    place.mount = &mount;
    const std::size_t skipped = mount.point == "/" ? 0 : mount.point.size();
    place.path_in_system = (mount.root == "/" ? "" : mount.root) + place.path.substr(skipped);
    return place;
  }
  return {};
}

// A folder that is mounted in two places has a parent in each of them. The paths in the file system
// then show whether `inner` lies below `outer`.
bool LiesBelowThroughMounts(int inner, int outer) {
  std::string table;
  if (ReadWholeFile("/proc/self/mountinfo", &table) != 0) return false;
  const std::vector<Mount> mounts = MountsIn(table);
  const std::optional<MountedPlace> in = PlaceOf(inner, mounts);
  const std::optional<MountedPlace> out = PlaceOf(outer, mounts);
  if (!in || !out) return false;
  const auto holds_inner = [&in](const std::string& device, const std::string& folder) {
    return device == in->mount->device && LiesBelow(in->path_in_system, folder);
  };
  if (holds_inner(out->mount->device, out->path_in_system)) return true;
  return std::any_of(mounts.begin(), mounts.end(), [&](const Mount& mount) {
    if (!LiesBelow(mount.point, out->path) || !holds_inner(mount.device, mount.root)) return false;
    // Another mount may hide this mount.
    const Descriptor visible = OpenPath(mount.point, kOpenPlace);
    return visible && MountIdOf(visible.get()) == mount.id;
  });
}

}  // namespace

bool LiesInFolder(const std::string& path, const std::string& folder) {
  const Descriptor outer = OpenPath(folder, kOpenPlace);
  const Descriptor inner = OpenExisting(path);
  return !outer || !inner || LiesInFolder(inner.get(), outer.get());
}

bool LiesInFolder(int inner, int outer) {
  struct stat info;
  const std::set<FolderIdentity> above = FoldersAbove(inner);
  if (above.empty() || fstat(outer, &info) != 0) return true;
  return above.contains({info.st_dev, info.st_ino}) || LiesBelowThroughMounts(inner, outer);
}

std::set<FolderIdentity> FoldersAbove(int open_folder) {
  std::set<FolderIdentity> folders;
  struct stat info, next;
  if (fstat(open_folder, &info) != 0) return {};
  Descriptor own;
  for (int here = open_folder;;) {
    folders.emplace(info.st_dev, info.st_ino);
    Descriptor above(openat(here, "..", kOpenPlace));
    if (!above || fstat(above.get(), &next) != 0) return {};
    // The parent of the root folder is the root folder. A folder that is mounted inside itself also
    // has itself as its parent, but in another mount.
    if (next.st_dev == info.st_dev && next.st_ino == info.st_ino &&
        MountIdOf(above.get()) == MountIdOf(here)) {
      return folders;
    }
    own = std::move(above);
    here = own.get();
    info = next;
  }
}

}  // namespace orvik::host
