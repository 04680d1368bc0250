// Moving files and folders.
#pragma once

#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Moves a file, link, folder or special file to a path where nothing stands: 0, or an error number
// (EEXIST when something does; it is never replaced). Links are moved as links.
//
// To another volume it is copied, with mode, owner, times and extended attributes as far as the
// rights and the volume allow, flushed to disk, given its name, and the source then removed. Under
// the name stands all of it or nothing, at every moment and after a crash; until it has the name
// the copy of a folder is called ".<name>.orvik-<n>" (staged_file.h), and what a killed process
// has left of it goes with the next move to the same name. A copy that fails is taken back. The
// depth of a tree is bounded neither by the stack nor by open descriptors. When the source cannot
// be removed wholly, the complete copy and what is left of the source stay, and the result tells
// why. A folder does not go into itself (EINVAL).
int MoveWithoutReplacing(const std::string& from, const std::string& to);

// The part of it that copies, for any two volumes; for tests.
int CopyThenRemove(const std::string& from, const std::string& to);

}  // namespace host
}  // namespace orvik
