#include "host/tree_copy.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "host/creation_date.h"
#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/folder_chain.h"
#include "host/folder_list.h"
#include "host/hard_links.h"
#include "host/node_copy.h"
#include "host/open_flags.h"

namespace orvik::host {

namespace {

class TreeCopier {
 public:
  TreeCopier(int top, Side* side, Monitor* monitor) : side_(side), monitor_(monitor), links_(top) {}

  int Run(int from, const char* from_name, int to) {
    int error = Enter(from, from_name, Descriptor(openat(to, ".", kOpenFolder)));
    while (error == 0 && !levels_.empty()) {
      std::vector<std::string>& subfolders = levels_.back().subfolders;
      if (subfolders.empty()) {
        error = Leave();
        continue;
      }
      const std::string next = std::move(subfolders.back());
      subfolders.pop_back();
      const char* const name = next.c_str();
      *side_ = Side::kTarget;
      if (mkdirat(targets_.folder(), name, 0700) != 0) return errno;
      const std::size_t length = path_.size();
      path_ += next + "/";
      levels_.push_back({length, {}, {}});
      error =
          Enter(sources_.folder(), name, Descriptor(openat(targets_.folder(), name, kOpenFolder)));
    }
    return error;
  }

 private:
  struct Level {
    std::size_t path_above = 0;  // length
    struct stat old {};
    std::vector<std::string> subfolders;  // still to be copied
  };

  int Enter(int from, const char* from_name, Descriptor target) {
    *side_ = Side::kTarget;
    if (!target) return errno;
    *side_ = Side::kSource;
    Descriptor source(openat(from, from_name, kOpenFolder));
    if (!source) return errno;
    if (levels_.empty()) levels_.emplace_back();
    if (fstat(source.get(), &levels_.back().old) != 0) return errno;
    if (const int error = sources_.Enter(std::move(source))) return error;
    if (const int error = targets_.Enter(std::move(target))) return error;
    return ListFolder(sources_.folder(),
                      [this](const dirent& entry) { return Copy(entry.d_name); });
  }

  int Copy(const char* name) {
    const int from = sources_.folder();
    const int to = targets_.folder();
    struct stat info;
    *side_ = Side::kSource;
    if (fstatat(from, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    if (S_ISDIR(info.st_mode)) {
      levels_.back().subfolders.emplace_back(name);
      return 0;
    }
    if (!Begins(monitor_, path_, name)) return ECANCELED;
    if (info.st_nlink > 1 && links_.Link(info, to, name)) return Finish();
    const NodeCopy how{.owner = Owner::kSource,
                       .appearance = Appearance::kAtOnce,
                       .special_files = true,
                       .side = side_,
                       .monitor = monitor_};
    if (const int error = CopyNode(from, name, info.st_mode & S_IFMT, to, name, how)) return error;
    if (info.st_nlink > 1) links_.Note(info, path_ + name, to, name);
    return Finish();
  }

  int Finish() { return Advances(monitor_, 1, 0) ? 0 : ECANCELED; }

  int Leave() {
    const Level& level = levels_.back();
    const int from = sources_.folder();
    const int to = targets_.folder();
    bool has_record = false;
    *side_ = Side::kTarget;
    if (const int error = CopyAttributes(from, Owner::kSource, to, &has_record)) return error;
    struct statx info;
    if (statx(from, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &info) == 0) {
      CopyCreationDate(from, info, has_record, to);
    }
    if (const int error = CopyMode(level.old, Owner::kSource, to)) return error;
    const timespec times[2] = {level.old.st_atim, level.old.st_mtim};
    futimens(to, times);
    path_.resize(level.path_above);
    levels_.pop_back();
    if (const int error = sources_.Leave()) return error;
    return targets_.Leave();
  }

  Side* const side_;
  Monitor* const monitor_;
  FolderChain sources_;
  FolderChain targets_;
  HardLinks links_;
  std::string path_;  // from the top to the innermost folder, with "/" at its end
  std::vector<Level> levels_;
};

}  // namespace

int CopyTree(int from, const char* from_name, int to, Side* side, Monitor* monitor) {
  return TreeCopier(to, side, monitor).Run(from, from_name, to);
}

}  // namespace orvik::host
