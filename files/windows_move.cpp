#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "files/windows_file_paths.h"
#include "files/windows_files.h"
#include "host/file_names.h"
#include "platform/carbon/errno_status.h"
#include "platform/carbon/trash.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/file_manager.h"
#include "platform/foundation/log.h"

namespace orvik {
namespace {

Owned<const NSString> PlatformString(std::u16string_view units) {
  return Owned<const NSString>(CFStringCreateWithCharacters(kCFAllocatorDefault, units.data(),
                                                            static_cast<CFIndex>(units.size())));
}

// The path without its last component; empty for a lone name.
std::u16string_view ParentOf(std::u16string_view path) {
  while (path.size() > 1 && path.back() == u'/') path.remove_suffix(1);
  const std::size_t slash = path.rfind(u'/');
  if (slash == std::u16string_view::npos) return {};
  return path.substr(0, slash == 0 ? 1 : slash);
}

// The path of the source as bytes: as it is spelled on disk when something stands there.
std::optional<std::string> SourceBytes(const char16_t* path) {
  FSRef ref;
  std::string bytes;
  if (FindFileBriefly(path, &ref) == noErr && FSRefCopyPath(&ref, &bytes) == noErr) return bytes;
  return host::FileNameToBytes(path);
}

bool MakeParentFolder(std::u16string_view target) {
  const std::u16string_view parent = ParentOf(target);
  if (parent.empty()) return true;
  const auto text = PlatformString(parent);
  const NSFileManager* const manager = NSFileManager::defaultManager();
  ObjCBool is_folder = NO;
  if (manager->fileExistsAtPath(text.get(), &is_folder) != NO && is_folder != NO) return true;
  NSError* error = nullptr;
  if (manager->createDirectoryAtPath(text.get(), YES, nullptr, &error) != NO) return true;
  NSLog(CFSTR(u"Creation of directory %@ failed, error was - %@"), text.get(), error);
  return false;
}

// Moves, with the info file of a trash first, so that nothing lies in a trash without one.
bool MoveWithInfo(const char16_t* source, const char16_t* target, NSError** error) {
  const std::optional<std::string> from = SourceBytes(source);
  const std::optional<std::string> to = host::FileNameToBytes(target);
  if (!from || !to) {
    *error = NSError::errorWithErrno(ENOENT);
    return false;
  }
  TrashInfo info;
  if (const OSErr status = info.Write(*from, *to)) {
    *error = NSError::errorWithErrno(status == dupFNErr ? EEXIST : EIO);
    return false;
  }
  const auto from_text = PlatformString(host::FileNameFromBytes(*from));
  const auto to_text = PlatformString(target);
  if (NSFileManager::defaultManager()->moveItemAtPath(from_text.get(), to_text.get(), error) ==
      NO) {
    return false;
  }
  info.Keep();
  return true;
}

}  // namespace

BOOL MoveFile(const char16_t* source, const char16_t* target) {
  if (source == nullptr || target == nullptr) return FALSE;
  const NSAutoreleasePool pool;
  if (!MakeParentFolder(target)) return FALSE;
  NSError* error = nullptr;
  if (MoveWithInfo(source, target, &error)) return TRUE;
  const auto source_text = PlatformString(source);
  const auto target_text = PlatformString(target);
  NSLog(CFSTR(u"Move File from %@ to %@ failed, error was - %@"), source_text.get(),
        target_text.get(), error);
  return FALSE;
}

}  // namespace orvik
