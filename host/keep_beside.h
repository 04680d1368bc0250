// Keeping a file that is about to be replaced by unrelated content.
//
// The kept file lies beside the old file, as "<file><suffix>", "<file><suffix>-2" to "-9", or, when
// all of these are taken, with random digits. An existing entry with such a name is left alone, and
// a link is never followed.
#pragma once

#include <string>
#include <string_view>

#include "host/file_place.h"
#include "host/replace_file.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

inline constexpr char kDamagedSuffix[] = ".damaged";

struct KeptFile {
  int error = 0;
  std::string path;   // of the kept file; "" when nothing was kept
  std::string name;   // the last component of the path
  bool made = false;  // false: an existing file already had the content
};

// Gives a file with this content a second name, or copies it with its properties if it cannot have
// a second name. An existing kept file with the same content is used instead, unless its owner
// could not have changed the file (trust.h). With Flush::kToDisk the kept file is on disk
// afterwards.
KeptFile KeepBeside(const FilePlace& place, std::string_view content, Flush flush,
                    std::string_view suffix = kDamagedSuffix);

// The same for a file that need not be readable. If it cannot have a second name, because it
// belongs to another user or the volume has no hard links, it is moved to the new name.
KeptFile KeepUnreadBeside(const FilePlace& place, std::string_view suffix = kDamagedSuffix);

// Undoes KeepBeside or KeepUnreadBeside, unless the file has been replaced since.
void RestoreKept(const KeptFile& kept, const FilePlace& place);

}  // namespace host
}  // namespace orvik
