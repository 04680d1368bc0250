#include "host/tree_merge.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "host/copy_crew.h"
#include "host/descriptor.h"
#include "host/file_names.h"
#include "host/file_place.h"
#include "host/folder_nesting.h"
#include "host/move_file.h"
#include "host/paths.h"
#include "host/staged_file.h"
#include "host/system.h"
#include "host/tree_walk.h"
#include "host/trust.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"

namespace orvik::host {
namespace {

struct Entry {
  std::string name;
  mode_t type;
};

bool HasOneSpellingOnDisk(std::string_view name) {
  return IsAscii(name) || HasOneSpelling(FileNameFromBytes(name));
}

class Merger {
 public:
  // `top` is a descriptor of the target that only this object uses.
  Merger(Transfer transfer, Descriptor top, int source, TreeOutcome* report, Monitor* monitor)
      : transfer_(transfer),
        monitor_(monitor),
        source_(source),
        report_(report),
        above_target_(FoldersAbove(top.get())),
        top_(std::move(top)),
        links_(top_.get()) {}

  int Run(Descriptor from, Descriptor to, bool is_new) {
    levels_.push_back({is_new});
    int error = Enter(std::move(from), {}, std::move(to), {}, false);
    while (error == 0 && sources_.depth() != 0) {
      const std::optional<std::string> next = sources_.TakeSubfolder();
      error = !next ? Leave() : IsStopped(monitor_) ? ECANCELED : Descend(*next);
    }
    if (!crew_.Finish() && error == 0) error = ECANCELED;
    if (error == ECANCELED) Add(stopped_at_, ECANCELED);
    outcome_.AddTo(report_);
    return error;
  }

 private:
  struct Level {
    bool is_new;                                  // the target was made for this copy
    bool is_on_disk = false;                      // the target and the folders above it are flushed
    std::shared_ptr<const FolderPair> pair = {};  // for entries that the crew copies
    std::optional<FolderSpellings> target_names = {};
    std::shared_ptr<TargetFolder> target = std::make_shared<TargetFolder>();
  };

  // Records the result of an entry of the innermost folder, "" for the folder itself.
  void Add(std::string_view name, int error, Side side = Side::kSource) {
    outcome_.Add(next_number_++, sources_.path(), name, error, side);
  }

  int Enter(Descriptor from, const std::string& name, Descriptor to, const std::string& target,
            bool through_link) {
    if (const int error = sources_.Enter(std::move(from), name)) return error;
    if (above_target_.contains(sources_.identity())) return EINVAL;
    if (const int error = targets_.Enter(std::move(to), target, through_link)) return error;
    Level& level = levels_.back();
    level.target->is_new = level.is_new;
    level.target->is_shared = !targets_entered_.insert(targets_.identity()).second;
    level.target->is_searched = level.is_new || !HasStagedEntries(targets_.folder());
    for (const Entry& entry : Entries()) {
      if (IsStopped(monitor_) || !TransferOther(entry)) {
        stopped_at_ = entry.name;
        return ECANCELED;
      }
    }
    levels_.back().pair.reset();
    return 0;
  }

  // All entries but the folders. They are listed before the first transfer, because a move changes
  // the folder that is being read.
  std::vector<Entry> Entries() {
    std::vector<Entry> entries;
    const int error = sources_.List([&](const dirent& entry, mode_t type) {
      entries.push_back({entry.d_name, type});
      return 0;
    });
    if (error != 0) Add({}, error);
    return entries;
  }

  // Transfers an entry that is not a folder. False when the monitor has stopped it.
  bool TransferOther(const Entry& entry) {
    const int from = sources_.folder(), to = targets_.folder();
    const char* const name = entry.name.c_str();
    const std::string target = TargetName(entry.name);
    if (transfer_ == Transfer::kCopy && GiveToCrew(entry, target)) return true;
    if (!Begins(monitor_, sources_.path(), entry.name)) return false;
    Side side = Side::kSource;
    const int error =
        transfer_ == Transfer::kCopy
            ? CopyInto(from, name, entry.type, to, target.c_str(), levels_.back().target.get(),
                       &side, monitor_)
            : Move(from, name, to, target.c_str(), {&links_, targets_.path(), &side, monitor_});
    if (error == ECANCELED) return false;
    Add(entry.name, error, side);
    Advances(monitor_, 1, 0);
    return true;
  }

  // The folders made for the copy must be on disk before its source is removed.
  int Move(int from, const char* name, int to, const char* target, const MoveOptions& options) {
    const int error = RenameEntry(from, name, to, target, options);
    if (error != EXDEV) return error;
    if (!levels_.back().is_on_disk) {
      *options.side = Side::kTarget;
      if (const int failure = FlushWay(to)) return failure;
      levels_.back().is_on_disk = true;
    }
    return CopyThenRemove(from, name, to, target, options);
  }

  // Entries may be copied in any order, except while the folder may hold leftovers of killed
  // processes.
  bool GiveToCrew(const Entry& entry, const std::string& target) {
    if (!levels_.back().target->is_searched || !crew_.TakesNext()) return false;
    std::shared_ptr<const FolderPair>& pair = levels_.back().pair;
    if (!pair) {
      FolderPair own{Descriptor(fcntl(sources_.folder(), F_DUPFD_CLOEXEC, 0)),
                     Descriptor(fcntl(targets_.folder(), F_DUPFD_CLOEXEC, 0)), sources_.path(),
                     levels_.back().target};
      if (!own.from || !own.to) return false;
      pair = std::make_shared<const FolderPair>(std::move(own));
    }
    crew_.Add({pair, entry.name, target, entry.type, next_number_++});
    return true;
  }

  // The name in the target for an entry of the source.
  std::string TargetName(const std::string& name) {
    Level& level = levels_.back();
    if (level.is_new || HasOneSpellingOnDisk(name)) return name;
    const int to = targets_.folder();
    if (HasEntry(to, name.c_str())) return name;
    if (!level.target_names) level.target_names.emplace().Read(to);
    std::optional<std::string> other = level.target_names->Find(name);
    const bool is_own = other && !HasEntry(sources_.folder(), other->c_str());
    return is_own ? *other : name;
  }

  // Makes or opens a folder of the target.
  Descriptor OpenTarget(const char* name, bool* is_new, bool* through_link) {
    const int above = targets_.folder();
    *is_new = mkdirat(above, name, 0777) == 0;
    *through_link = false;
    if (!*is_new && errno != EEXIST) return Descriptor();
    Descriptor opened(openat(above, name, kOpenFolder));
    if (opened || (errno != ELOOP && errno != ENOTDIR)) return opened;
    struct stat link, folder;
    if (fstatat(above, name, &link, AT_SYMLINK_NOFOLLOW) != 0) return Descriptor();
    const bool is_trusted = fstat(above, &folder) == 0 && MayFollow(link, folder);
    errno = is_trusted ? ENOTDIR : EACCES;
    if (!S_ISLNK(link.st_mode) || !is_trusted) return Descriptor();
    *through_link = true;
    return Descriptor(openat(above, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }

  int Descend(const std::string& name) {
    Descriptor from = sources_.OpenSubfolder(name);
    if (!from) {
      // A folder that cannot be read is made, too.
      const int error = errno;
      if (error == EACCES) mkdirat(targets_.folder(), TargetName(name).c_str(), 0777);
      Add(name, error);
      return 0;
    }
    const std::string target = TargetName(name);
    bool is_new, through_link;
    Descriptor to = OpenTarget(target.c_str(), &is_new, &through_link);
    if (!to) {
      Add(name, errno, Side::kTarget);
      return 0;
    }
    // A link may lead back into the source; the copy would then never end.
    if (through_link && LiesInFolder(to.get(), source_)) return EINVAL;
    levels_.push_back({is_new, !is_new && levels_.back().is_on_disk});
    const int error = Enter(std::move(from), name, std::move(to), target, through_link);
    if (error == 0 || error == EINVAL || error == ECANCELED) return error;
    Add({}, error);
    return EIO;
  }

  int Leave() {
    levels_.pop_back();
    int error = sources_.Leave();
    if (error == 0) error = targets_.Leave();
    if (error != 0) Add({}, error);
    return error == 0 ? 0 : EIO;
  }

  const Transfer transfer_;
  Monitor* const monitor_;
  const int source_;  // the open top of the source
  TreeOutcome* const report_;
  const std::set<FolderIdentity> above_target_;
  const Descriptor top_;
  HardLinks links_;
  TreeWalk sources_;
  TreeWalk targets_;
  std::set<FolderIdentity> targets_entered_;
  std::string stopped_at_;  // the last entry, in the innermost folder
  std::vector<Level> levels_;
  OrderedOutcome outcome_;
  std::uint64_t next_number_ = 0;  // numbers the entries in the order of the walk
  CopyCrew crew_{&outcome_, monitor_};
};

}  // namespace

int MergeTree(const std::string& from, const std::string& to, Transfer transfer,
              TreeOutcome* report, Monitor* monitor) {
  TreeOutcome own;
  if (report == nullptr) report = &own;
  Descriptor source = OpenPath(from, O_RDONLY | O_DIRECTORY);
  if (!source && errno != EACCES) return errno;
  if (LiesInFolder(to, from)) return EINVAL;
  if (source && monitor != nullptr && monitor->WantsTotals()) {
    const TreeSize size = SizeOfTree(OpenPath(from, O_RDONLY | O_DIRECTORY), monitor);
    monitor->Expect(size.others, size.bytes);
  }
  if (IsStopped(monitor)) {
    report->AddFailure({}, ECANCELED);
    return ECANCELED;
  }
  int error = MakeFolderAt(to, 0777);
  const bool is_new = error == 0;
  if (error == ENOENT) error = MakeFolders(to);
  Descriptor target = OpenPath(to, O_RDONLY | O_DIRECTORY);
  if (!target) error = errno;
  if (!source) error = EACCES;
  if (!target || !source) {
    report->AddFailure({}, error, source ? Side::kTarget : Side::kSource);
    return 0;
  }
  Descriptor top(fcntl(target.get(), F_DUPFD_CLOEXEC, 0));
  const Descriptor source_top(fcntl(source.get(), F_DUPFD_CLOEXEC, 0));
  Merger merger(transfer, std::move(top), source_top.get(), report, monitor);
  error = merger.Run(std::move(source), std::move(target), is_new);
  return error == EINVAL || error == ECANCELED ? error : 0;
}

}  // namespace orvik::host
