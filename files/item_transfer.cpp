#include "files/item_transfer.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "files/path_arguments.h"
#include "host/file_names.h"
#include "host/node_copy.h"
#include "host/paths.h"
#include "host/system.h"
#include "host/trash.h"
#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/application.h"
#include "strings/auto_release.h"
#include "text/characters.h"

namespace orvik {
namespace {

CAutoCFRelease<CFStringRef> PlatformString(std::u16string_view units) {
  return CAutoCFRelease<CFStringRef>(CFStringCreateWithCharacters(
      kCFAllocatorDefault, units.data(), static_cast<CFIndex>(units.size())));
}

CAutoCFRelease<CFStringRef> PlatformString(std::string_view bytes) {
  return PlatformString(host::FileNameFromBytes(bytes));
}

void LogFailedMove(std::u16string_view from, std::u16string_view to, int error) {
  NSLog(CFSTR(u"Move File from %@ to %@ failed, error was - %@"), PlatformString(from).Get(),
        PlatformString(to).Get(), PlatformString(std::string_view(std::strerror(error))).Get());
}

int MakeFolderFor(const std::string& target) {
  const std::string folder(host::ParentPath(target));
  struct stat info;
  if (host::StatPath(folder, 0, &info) == 0 && S_ISDIR(info.st_mode)) return 0;
  const int error = host::MakeFolders(folder);
  if (error != 0) {
    NSLog(CFSTR(u"Creation of directory %@ failed, error was - %@"), PlatformString(folder).Get(),
          PlatformString(std::string_view(std::strerror(error))).Get());
  }
  return error;
}

// The path of the target. If `target` is another Unicode spelling of the source's name, PathForLibc
// returns the source; then the last component is used as given.
std::optional<std::string> TargetPath(const char16_t* target, const std::string& source) {
  std::optional<std::string> path = PathForLibc(target);
  const std::optional<std::string> given = host::FileNameToBytes(target);
  if (!path || !given) return path;
  const std::string_view name = host::LeafName(host::WithoutTrailingSlashes(*given));
  struct stat from, to;
  if (name == host::LeafName(*path) || host::LeafName(source) != host::LeafName(*path) ||
      host::StatPath(std::string(host::ParentPath(source)), 0, &from) != 0 ||
      host::StatPath(std::string(host::ParentPath(*path)), 0, &to) != 0 ||
      from.st_dev != to.st_dev || from.st_ino != to.st_ino) {
    return path;
  }
  return host::ChildPath(std::string(host::ParentPath(*path)), name);
}

void ExpectFile(const std::string& path, host::Monitor* monitor) {
  struct stat info;
  if (monitor == nullptr || host::StatPath(path, AT_SYMLINK_NOFOLLOW, &info) != 0) return;
  monitor->Expect(1, S_ISREG(info.st_mode) ? static_cast<std::uint64_t>(info.st_size) : 0);
}

// The local time as 14-05-09; no value when it cannot be formatted.
std::optional<CAtlString> TimeStamp() {
  const CAutoCFRelease<CFDateFormatterRef> formatter(CFDateFormatterCreate(
      kCFAllocatorDefault, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle));
  if (!formatter) return std::nullopt;
  CFDateFormatterSetFormat(formatter, CFSTR(u"HH-mm-ss"));
  const CAutoCFRelease<CFStringRef> stamp(CFDateFormatterCreateStringWithAbsoluteTime(
      kCFAllocatorDefault, formatter, CFAbsoluteTimeGetCurrent()));
  if (!stamp) return std::nullopt;
  return CAtlString(stamp.Get());
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
    base.Truncate(static_cast<int>(CharacterBefore(base.View(), base.size())));
  }
  return base + end;
}

// EEXIST when an entry has the name, in any spelling.
int MoveTo(const std::string& from, const COrvikFilePath& target,
           const host::MoveOptions& options) {
  const std::optional<std::string> to = PathForLibc(target.GetFilePathString());
  if (!to) return EINVAL;
  struct stat info;
  if (host::StatPath(*to, AT_SYMLINK_NOFOLLOW, &info) == 0) return EEXIST;
  return MoveItem(from, *to, options);
}

}  // namespace

int CopyItem(const char16_t* source, const char16_t* target, BOOL fail_if_exists, host::Side* side,
             host::Monitor* monitor) {
  if (side != nullptr) *side = host::Side::kSource;
  if (source == nullptr || target == nullptr ||
      std::u16string_view(source) == std::u16string_view(target)) {
    return EINVAL;
  }
  const std::optional<std::string> from = PathForLibc(source);
  const std::optional<std::string> to = PathForLibc(target);
  if (!from || !to) return ENOENT;
  const host::NodeCopy how{
      .existing = fail_if_exists != FALSE ? host::Existing::kKeep : host::Existing::kReplace,
      .side = side,
      .monitor = monitor};
  ExpectFile(*from, monitor);
  if (!host::Begins(monitor, {}, {})) return ECANCELED;
  const int error = host::CopyNode(*from, *to, how);
  if (error != ECANCELED) host::Advances(monitor, 1, 0);
  return error;
}

int MoveItem(const char16_t* source, const char16_t* target, const host::MoveOptions& options) {
  if (options.side != nullptr) *options.side = host::Side::kSource;
  if (source == nullptr || target == nullptr) return EINVAL;
  const std::optional<std::string> from = PathForLibc(source);
  const std::optional<std::string> to = from ? TargetPath(target, *from) : std::nullopt;
  int error = ENOENT;
  if (from && to) {
    if (options.side != nullptr) *options.side = host::Side::kTarget;
    if (const int refusal = MakeFolderFor(*to)) return refusal;
    error = MoveItem(*from, *to, options);
  }
  if (error != 0) LogFailedMove(source, target, error);
  return error;
}

int MoveItem(const std::string& from, const std::string& to, const host::MoveOptions& options) {
  host::TrashInfo info;
  int error = info.Write(from, to);
  if (error == 0) error = host::MoveWithoutReplacing(from, to, options);
  if (error == 0) info.Commit();
  return error;
}

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
  LogFailedMove(file.GetFilePathString(), target.GetFilePathString(), error);
  return false;
}

}  // namespace orvik
