// Keeping a file that is about to be replaced by something it could not be made into.
#pragma once

#include <string>
#include <string_view>

#include "host/replace_file.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

struct KeptFile {
  int error = 0;
  std::string path;   // where it is kept
  bool made = false;  // false: it was kept there already
};

// Gives a file with this content a second name beside it, "<file>.damaged" or with a number after
// it ("<file>.damaged-2" and so on), or copies it with its mode where that cannot be done. A file
// of such a name that holds the content already will do. EEXIST after a thousand names. `suffix`
// takes the place of ".damaged".
KeptFile KeepBeside(const std::string& file, std::string_view content, Flush flush,
                    std::string_view suffix = ".damaged");

// The same with a file that need not be readable. Where it can have no second name, because it is
// another user's or the volume knows none, it is moved to such a name.
KeptFile KeepUnreadBeside(const std::string& file, std::string_view suffix = ".damaged");

// Takes back what one of the two made, unless the file has been replaced meanwhile.
void PutBack(const KeptFile& kept, const std::string& file);

}  // namespace host
}  // namespace orvik
