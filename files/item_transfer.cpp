#include "files/move_item.h"

#include "host/move_file.h"
#include "host/trash.h"

namespace orvik {

int MoveItem(const std::string& from, const std::string& to) {
  host::TrashInfo info;
  int error = info.Write(from, to);
  if (error == 0) error = host::MoveWithoutReplacing(from, to);
  if (error == 0) info.Keep();
  return error;
}

}  // namespace orvik
