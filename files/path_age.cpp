#include "files/path_age.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <limits>

#include "files/path_arguments.h"
#include "host/at_path.h"

namespace orvik {

int DaysSinceModification(const CAtlString& path) {
  const std::optional<std::string> bytes = PathForLibc(path);
  struct stat record;
  if (!bytes || host::StatPath(*bytes, 0, &record) != 0) return 0;
  const double days = std::difftime(std::time(nullptr), record.st_mtime) / 86400;
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<double>(days, Limits::min(), Limits::max()));
}

}  // namespace orvik
