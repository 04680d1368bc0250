// New folders, and what new files and folders take from the folder they are made in.
#pragma once

#include <sys/stat.h>

#include <string>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Makes a folder with mode 0777 less the umask, which follows its folder (FollowFolder). `folder`
// is open for reading and has the attributes. 0, with the new folder open for reading in `made` and
// its attributes in `own`; EEXIST when the name is taken; or another error number. The name is not
// flushed.
//
// A folder that is given away or opened to a group is made and changed inside a staged folder of
// the caller's alone, and takes its name afterwards: nobody can put another folder in its place
// meanwhile, and no folder is changed but the one that was made.
int MakeFolder(int folder, const struct stat& attributes, const std::string& name, Descriptor* made,
               struct stat* own);

// Gives a new file or folder what it takes from its folder. `entry` is open; `own` receives its
// attributes as they are afterwards. False when they cannot be had.
//
// - What root makes in another user's folder becomes that user's.
// - In a folder with the set-group bit that its group may write, the group may read and write it,
//   and others may read it if they may read the folder, whatever the umask is.
bool FollowFolder(int entry, const struct stat& folder, struct stat* own);

}  // namespace host
}  // namespace orvik
