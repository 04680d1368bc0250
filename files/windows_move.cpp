#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "files/move_item.h"
#include "files/path_arguments.h"
#include "files/windows_files.h"
#include "host/at_path.h"
#include "host/file_names.h"
#include "host/path_names.h"
#include "host/system_root.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/log.h"

namespace orvik {
namespace {

Owned<const NSString> PlatformString(std::u16string_view units) {
  return Owned<const NSString>(CFStringCreateWithCharacters(kCFAllocatorDefault, units.data(),
                                                            static_cast<CFIndex>(units.size())));
}

Owned<const NSString> PlatformString(std::string_view bytes) {
  return PlatformString(host::FileNameFromBytes(bytes));
}

int MakeFolderFor(const std::string& target) {
  const std::string folder(host::ParentPath(target));
  struct stat info;
  if (host::StatPath(folder, 0, &info) == 0 && S_ISDIR(info.st_mode)) return 0;
  const int error = host::MakeFolders(folder);
  if (error != 0) {
    NSLog(CFSTR(u"Creation of directory %@ failed, error was - %@"), PlatformString(folder).get(),
          PlatformString(std::string_view(std::strerror(error))).get());
  }
  return error;
}

}  // namespace

BOOL MoveFile(const char16_t* source, const char16_t* target) {
  if (source == nullptr || target == nullptr) return FALSE;
  const std::optional<std::string> from = PathForLibc(source);
  const std::optional<std::string> to = PathForLibc(target);
  int error = ENOENT;
  if (from && to) {
    if (MakeFolderFor(*to) != 0) return FALSE;
    error = MoveItem(*from, *to);
  }
  if (error == 0) return TRUE;
  NSLog(CFSTR(u"Move File from %@ to %@ failed, error was - %@"), PlatformString(source).get(),
        PlatformString(target).get(), PlatformString(std::string_view(std::strerror(error))).get());
  return FALSE;
}

}  // namespace orvik
