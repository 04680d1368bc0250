// Keeping a file that is about to be replaced by something it could not be made into.
//
// The kept file lies beside the old one, as "<file><suffix>", "<file><suffix>-2" to "-9", or, when
// all of these are taken, with random digits. Whatever has such a name already, a link too, is left
// alone and never followed.
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
  std::string path;   // where it is kept; "" when it is not
  std::string name;   // the last component of the path
  bool made = false;  // false: it was kept there already
};

// Gives a file with this content a second name, or copies it with its properties where that cannot
// be done. A kept file that has the content already will do, unless it belongs to a user who could
// not have changed the file. With Flush::kToDisk the kept file is on disk afterwards.
KeptFile KeepBeside(const FilePlace& place, std::string_view content, Flush flush,
                    std::string_view suffix = kDamagedSuffix);

// The same with a file that need not be readable. Where it can have no second name, because it is
// another user's or the volume knows none, it is moved to such a name.
KeptFile KeepUnreadBeside(const FilePlace& place, std::string_view suffix = kDamagedSuffix);

// Takes back what one of the two made, unless the file has been replaced meanwhile.
void RestoreKept(const KeptFile& kept, const FilePlace& place);

}  // namespace host
}  // namespace orvik
