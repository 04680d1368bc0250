#include "files/trash_names.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "files/tree_failures.h"
#include "host/at_path.h"
#include "host/file_names.h"
#include "host/trash.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/date_formatter.h"
#include "platform/core_foundation/owned.h"
#include "platform/foundation/log.h"

namespace orvik {
namespace {

Owned<const NSString> PlatformString(const CAtlString& text) {
  return Owned<const NSString>(text.CreateCFStringRef(kCFAllocatorDefault));
}

// The local time as 14-05-09; nothing when it cannot be formatted.
std::optional<CAtlString> TimeStamp() {
  const Owned<NSDateFormatter> formatter(CFDateFormatterCreate(
      kCFAllocatorDefault, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle));
  if (!formatter) return std::nullopt;
  CFDateFormatterSetFormat(formatter.get(), PlatformString(u"HH-mm-ss").get());
  const Owned<const NSString> stamp(CFDateFormatterCreateStringWithAbsoluteTime(
      kCFAllocatorDefault, formatter.get(), CFAbsoluteTimeGetCurrent()));
  if (!stamp) return std::nullopt;
  return CAtlString(stamp.get());
}

// The file's name with `addition` before the extension.
CAtlString NameInTrash(const COrvikFilePath& file, const CAtlString& addition) {
  const auto is_too_long = [](const CAtlString& name) {
    const std::optional<std::string> bytes = host::FileNameToBytes(name.View());
    return bytes && bytes->size() > host::kLongestTrashName;
  };
  CAtlString base = file.GetBaseFileName();
  CAtlString end = addition + file.GetFileExtension();
  if (is_too_long(end)) {
    base = file.GetFileName();
    end = addition;
  }
  while (!base.IsEmpty() && is_too_long(base + end)) {
    const bool is_half = (base.View().back() & 0xFC00) == 0xDC00 && base.GetLength() > 1 &&
                         (base[base.GetLength() - 2] & 0xFC00) == 0xD800;
    base.Truncate(base.GetLength() - (is_half ? 2 : 1));
  }
  return base + end;
}

// EEXIST when the name is taken, in whichever spelling.
int MoveTo(const std::string& from, const COrvikFilePath& target,
           const host::MoveOptions& options) {
  const std::optional<std::string> to = PathForLibc(target.GetFilePathString());
  if (!to) return EINVAL;
  struct stat info;
  if (host::StatPath(*to, AT_SYMLINK_NOFOLLOW, &info) == 0) return EEXIST;
  return MoveItem(from, *to, options);
}

}  // namespace

bool MoveToTrash(const COrvikFilePath& file, const COrvikDirectoryPath& trash, TreeReport* report,
                 Progress* progress) {
  const std::optional<std::string> from = PathForLibc(file.GetFilePathString());
  if (!from) return false;
  COrvikFilePath target = trash.CreateFilePath(NameInTrash(file, u""));
  host::Side side = host::Side::kTarget;
  const host::MoveOptions options{.side = &side, .monitor = MonitorOf(progress, file)};
  int error = MoveTo(*from, target, options);
  std::optional<CAtlString> stamp;
  for (unsigned number = 0; error == EEXIST; ++number) {
    if (!stamp) stamp = TimeStamp();
    if (!stamp) return false;
    CAtlString addition = u' ' + *stamp;
    if (number > 0) addition.AppendFormat(u"-%u", number);
    target = trash.CreateFilePath(NameInTrash(file, addition));
    error = MoveTo(*from, target, options);
  }
  if (AddResult(file, error, side, report) != FALSE) return true;
  NSLog(CFSTR(u"Move File from %@ to %@ failed, error was - %@"),
        PlatformString(file.GetFilePathString()).get(),
        PlatformString(target.GetFilePathString()).get(),
        PlatformString(PathFromBytes(std::strerror(error))).get());
  return false;
}

}  // namespace orvik
