// Copying or moving the content of a folder into another folder, which may already have entries.
#pragma once

#include <string>

#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

enum class Transfer {
  kCopy,  // replaces files and links of the same names; does not copy special files
  kMove,  // existing entries stay, and so do the entries that would replace them
};

// Transfers every entry of the folder `from`, at every depth, into the folder `to`, which is made
// with its parents. Missing folders are made; folders of the source stay when their entries are
// moved. Both paths may be links to folders. Inside the trees, links are not followed, with one
// exception: a link below `to` that has the name of a folder of the source, leads to a folder, and
// may be followed (trust.h).
//
// Copies are made as node_copy.h says. Each file is copied by itself: a file with several names is
// copied once for each name. A move to another volume keeps hard links (move_file.h), and removes a
// file when its copy and the folders made for it are on disk.
//
// If `to` has an entry whose name is another spelling of the same name (file_names.h), the transfer
// uses that entry, unless the source has both spellings.
//
// A large copy uses two threads (copy_crew.h), except in existing folders that may hold leftovers
// of killed processes. The second thread has ended when the call returns.
//
// The transfer continues after a failure, and lists the failures in the order of the walk. `report`
// (may be null) counts the files, links and special files transferred. The result is 0 even after
// failures of entries. It is ENOENT or ENOTDIR when the source is missing or not a folder, and
// EINVAL when `to` lies in the source; then the transfer does not start, or ends. It is ECANCELED
// when the monitor (may be null) stops the transfer: the entries transferred so far stay, and the
// report names the entry at which it stopped.
int MergeTree(const std::string& from, const std::string& to, Transfer transfer,
              TreeOutcome* report = nullptr, Monitor* monitor = nullptr);

}  // namespace host
}  // namespace orvik
