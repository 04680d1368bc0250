// Copying or moving what a folder holds into another folder, which may hold something already.
#pragma once

#include <string>

#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

enum class Transfer {
  kCopy,  // files and links of the same names are replaced; special files are not copied
  kMove,  // existing entries stay, and the entries that would replace them too
};

// Transfers every entry of the folder `from` at every depth into the folder `to`, which is made
// with its parents. Folders are made where they are missing; those of the source stay when their
// entries are moved. Both paths may be links to folders. In the tree no link is followed, but for
// one below `to` that has the name of a folder of the source, leads to a folder, and may be
// followed (trust.h).
//
// Copies are made as node_copy.h says, each file by itself: one that has several names is copied
// once for each. A move to another volume keeps them (move_file.h), and removes a file when its
// copy and the folders made for it are on disk.
//
// An entry of which `to` has another spelling (file_names.h) goes to that one, unless the source
// has both.
//
// A large copy runs on two threads (copy_crew.h) where it makes the folders; both have ended when
// the call returns.
//
// The transfer goes on after a failure, and the failures come in the order of the walk. `report`
// (may be null) counts the files, links and special files transferred. The result is 0 whatever
// failed, but ENOENT or ENOTDIR when there is no source, and EINVAL when `to` lies in it; then
// nothing, or nothing more, is transferred. ECANCELED when the monitor (may be null) said stop:
// what was transferred before stays, and the report names the entry that the transfer had come to.
int MergeTree(const std::string& from, const std::string& to, Transfer transfer,
              TreeOutcome* report = nullptr, Monitor* monitor = nullptr);

}  // namespace host
}  // namespace orvik
