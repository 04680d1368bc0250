#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "files/windows_file_paths.h"
#include "files/windows_files.h"
#include "platform/carbon/trash.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/file_manager.h"
#include "platform/foundation/log.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"

namespace orvik {
namespace {

// A platform string that is released with the holder.
class TextHolder {
 public:
  explicit TextHolder(std::u16string_view units)
      : text_(CFStringCreateWithCharacters(kCFAllocatorDefault, units.data(),
                                           static_cast<CFIndex>(units.size()))) {}
  ~TextHolder() { CFRelease(text_); }
  TextHolder(const TextHolder&) = delete;
  TextHolder& operator=(const TextHolder&) = delete;
  CFStringRef get() const { return text_; }

 private:
  CFStringRef text_;
};

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
  const TextHolder text{parent};
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
  const TextHolder from_text{host::FileNameFromBytes(*from)};
  const TextHolder to_text{target};
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
  const TextHolder source_text{source};
  const TextHolder target_text{target};
  NSLog(CFSTR(u"Move File from %@ to %@ failed, error was - %@"), source_text.get(),
        target_text.get(), error);
  return FALSE;
}

}  // namespace orvik
