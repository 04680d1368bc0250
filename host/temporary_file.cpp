#include "host/temporary_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "host/staged_file.h"

namespace orvik::host {

Descriptor MakeTemporaryFile(const std::string& folder) {
  Descriptor unnamed(open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
  if (unnamed) return unnamed;
  std::string name = folder + "/.orvik-XXXXXX";
  Descriptor named(mkostemp(name.data(), O_CLOEXEC));
  if (named) unlink(name.c_str());
  return named;
}

bool IsOwnFile(int file, int folder, const char* name) {
  struct stat own;
  return HasName(file, folder, name) && fstat(file, &own) == 0 && own.st_uid == geteuid() &&
         S_ISREG(own.st_mode);
}

}  // namespace orvik::host
