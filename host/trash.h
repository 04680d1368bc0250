// The trash of a volume, in the form of freedesktop.org, version 1.0: a folder with "files", which
// holds the discarded items, "info", which records where each item came from, and "directorysizes",
// which records the size of each folder in "files".
//
// The home trash ($XDG_DATA_HOME/Trash, else ~/.local/share/Trash) serves the volume of the home.
// If root has the home of another user, root uses its own home trash (OwnHomeFolder in system.h),
// so that neither gets the other's files and that user's trash stays usable. Another volume uses
// $top/.Trash/$uid if an administrator made $top/.Trash (a real folder with the sticky bit),
// otherwise $top/.Trash-$uid.
//
// The info file of an item is written first. A process that is killed in between leaves an info
// file without an item, which that form allows. Such an info file keeps its name in use for a day,
// because another process may still be about to move the item; after that the next item of that
// name replaces it.
//
// Functions return 0 or an errno. Paths are bytes.
#pragma once

#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The longest name, in bytes, that leaves room for the name of its info file.
inline constexpr std::size_t kLongestTrashName = 255 - std::string_view(".trashinfo").size();

// The folder of the home trash. It need not exist.
std::string HomeTrash();

// The "files" folder of the home trash, or of the trash of the volume that is mounted at `top`.
// With `create` a missing trash is made (mode 0700, with its "info"); without it the result is
// ENOENT. A trash that belongs to another user or cannot be written is refused. So is the trash of
// a volume if it is a link, or, as root, if another user could replace it (EACCES; trust.h).
int OpenHomeTrash(bool create, std::string* files);
int OpenVolumeTrash(const std::string& top, bool create, std::string* files);

// The info file of an item that is about to be moved to the trash.
class TrashInfo {
 public:
  TrashInfo() = default;
  // Removes the info file unless Commit was called.
  ~TrashInfo();
  TrashInfo(const TrashInfo&) = delete;
  TrashInfo& operator=(const TrashInfo&) = delete;

  // If the folder of `target_path` is the "files" folder of a trash, makes "info/<name>.trashinfo"
  // with the original path and the local time; otherwise does nothing. The original path is
  // absolute in the home trash. In the trash of a volume, a path below the volume's top is relative
  // to that top. EEXIST when an info file of that name exists, because the name is then taken.
  int Write(std::string_view source_path, std::string_view target_path);

  // Must be called when the move is done. Adds the size of a folder to "directorysizes".
  void Commit();

 private:
  std::string info_path_;
  std::string target_path_;
};

}  // namespace host
}  // namespace orvik
