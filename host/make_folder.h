// New folders, which take from the folder they are made in what FollowFolder (file_place.h) says.
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

}  // namespace host
}  // namespace orvik
