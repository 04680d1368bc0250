// The trash of a volume, by the rules of freedesktop.org for trash, 1.0: a folder with "files",
// which holds what was thrown away, and "info", which tells for each where it came from.
//
// The home trash ($XDG_DATA_HOME/Trash, else ~/.local/share/Trash) serves the volume of the home;
// another volume has $top/.Trash/$uid when an administrator made $top/.Trash (a real folder with
// the sticky bit), else $top/.Trash-$uid.
//
// What is thrown away gets its info file first, so a process that is killed in between leaves an
// info file without a file, as those rules allow. It keeps its name in use for a day, because
// another process may still be on the way to it; after that the next file of that name takes its
// place.
//
// Functions return a status: 0, or one of host/errno_status.h.
#pragma once

#include <string>
#include <string_view>

#include "platform/carbon/files.h"

namespace [[gnu::visibility("default")]] orvik {

// A longer name, in bytes, leaves no room for that of its info file.
inline constexpr std::size_t kLongestTrashName = 255 - std::string_view(".trashinfo").size();

// The "files" folder of the volume's trash. With `create` it is made when missing (mode 0700, with
// its "info"); without, fnfErr when there is none. A trash that belongs to someone else or cannot
// be written is refused, on a volume also one that is a link.
OSErr FSFindTrashFolder(FSVolumeRefNum volume, Boolean create, FSRef* folder);

// The "files" folder of the user's home trash, whatever volume it lies on.
OSErr FSFindHomeTrashFolder(Boolean create, FSRef* folder);

// Whether the name of `target_path` (bytes) is in use in a trash: something stands there, or an
// info file of that name does that is not left over.
bool TrashNameIsTaken(std::string_view target_path);

// Writes the info file of something about to be moved to `target_path` (bytes): when the folder of
// the target is the "files" folder of a trash, makes "info/<name>.trashinfo" with the original path
// (percent-encoded by RFC 3986, relative to the volume's top outside the home trash) and the local
// time. dupFNErr when an info file of that name exists that is not left over, because the name is
// then taken. The info file is removed when the object is destroyed without Keep.
class TrashInfo {
 public:
  TrashInfo() = default;
  ~TrashInfo();
  TrashInfo(const TrashInfo&) = delete;
  TrashInfo& operator=(const TrashInfo&) = delete;

  // 0 also when the target lies in no trash; then nothing is written.
  OSErr Write(std::string_view source_path, std::string_view target_path);
  void Keep();

 private:
  std::string info_path_;
};

}  // namespace orvik
