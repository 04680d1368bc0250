// The trash of a volume, in the form of freedesktop.org, version 1.0: a folder with
// "files", which holds what was thrown away, "info", which says for each where it came from, and
// "directorysizes", which says how much room the folders in "files" take.
//
// The home trash ($XDG_DATA_HOME/Trash, else ~/.local/share/Trash) serves the volume of the home.
// Root with another user's home has its own (OwnHomeFolder in system.h), so that neither gets the
// other's files, and that user's trash stays usable. Another volume has $top/.Trash/$uid when an
// administrator made $top/.Trash (a real folder with the sticky bit), else $top/.Trash-$uid.
//
// The info file of an item is written first, so that a process killed in between leaves an info
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

// A longer name, in bytes, leaves no room for that of its info file.
inline constexpr std::size_t kLongestTrashName = 255 - std::string_view(".trashinfo").size();

// The folder of the home trash, which need not exist.
std::string HomeTrash();

// The "files" folder of the home trash, or of the trash of the volume that is mounted at `top`.
// With `create` it is made when it is missing (mode 0700, with its "info"); without, ENOENT when
// there is none. A trash that belongs to someone else or cannot be written is refused, on a volume
// also one that is a link, or, for root, that another user could replace (EACCES; trust.h).
int OpenHomeTrash(bool create, std::string* files);
int OpenVolumeTrash(const std::string& top, bool create, std::string* files);

// The info file of something about to be moved to `target_path`.
class TrashInfo {
 public:
  TrashInfo() = default;
  // Removes the info file unless it is kept.
  ~TrashInfo();
  TrashInfo(const TrashInfo&) = delete;
  TrashInfo& operator=(const TrashInfo&) = delete;

  // When the folder of the target is the "files" folder of a trash, makes "info/<name>.trashinfo"
  // with the original path and the local time, else nothing. The path is absolute in the home
  // trash; in that of a volume it is relative to the volume's top, for what lies below that. EEXIST
  // when an info file of that name exists, because the name is then taken.
  int Write(std::string_view source_path, std::string_view target_path);

  // To be called when the move is done. A folder is entered in "directorysizes".
  void Commit();

 private:
  std::string info_path_;
  std::string target_path_;
};

}  // namespace host
}  // namespace orvik
