#include "files/windows_temp_names.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "files/windows_files.h"
#include "platform/foundation/application.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/file_manager.h"

namespace orvik {
namespace {

constexpr std::size_t kPrefixUnits = 3;

std::u16string_view StartOfPrefix(const char16_t* prefix) {
  if (prefix == nullptr) return {};
  return std::u16string_view(prefix).substr(0, kPrefixUnits);
}

std::u16string Decimal(DWORD number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

}  // namespace

DWORD GetTempFileName(const char16_t* folder, const char16_t* prefix, DWORD unique,
                      char16_t* buffer) {
  if (folder == nullptr || buffer == nullptr) return 0;
  std::u16string start{folder};
  if (start.empty() || start.back() != u'/') start += u'/';
  start += StartOfPrefix(prefix);
  for (;; ++unique) {
    const std::u16string path = start + Decimal(unique);
    if (path.size() >= static_cast<std::size_t>(MAX_PATH)) {
      *buffer = u'\0';
      return 0;
    }
    *std::copy(path.begin(), path.end(), buffer) = u'\0';
    if (PathFileExists(buffer) == FALSE) return unique;
  }
}

DWORD GetTempPath(DWORD buffer_length, char16_t* buffer) {
  const CFStringRef folder = CocoaGetTempPathHelper();
  if (folder == nullptr) return 0;
  std::u16string path(static_cast<std::size_t>(CFStringGetLength(folder)), u'\0');
  CFStringGetCharacters(folder, CFRangeMake(0, CFStringGetLength(folder)), path.data());
  CFRelease(folder);
  if (path.empty() || path.back() != u'/') path += u'/';
  if (buffer != nullptr && buffer_length > 0) {
    const std::size_t units = std::min<std::size_t>(path.size(), buffer_length - 1);
    *std::copy_n(path.begin(), units, buffer) = u'\0';
  }
  return static_cast<DWORD>(path.size());
}

CFStringRef CocoaGetTempPathHelper() {
  NSApplicationLoad();
  const NSAutoreleasePool pool;
  const NSString* folder = NSTemporaryDirectory();
  if (folder == nullptr) folder = NSHomeDirectory();
  if (folder == nullptr) folder = CFSTR(u"~/Library/Caches/Temporary Items");
  return CFStringCreateCopy(kCFAllocatorDefault, folder);
}

}  // namespace orvik
