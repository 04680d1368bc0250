#include "platform/core_foundation/url.h"

#include <cstring>
#include <filesystem>
#include <utility>

#include "host/replace_file.h"
#include "host/system.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/string_support.h"

namespace orvik {

namespace {

bool Answer(int status, SInt32* error_code) {
  if (error_code != nullptr) *error_code = status;
  return status == noErr;
}

}  // namespace

const NSURL* NSURL::CreateWithPath(std::string path) {
  if (path.empty() || path.find('\0') != std::string::npos) return nullptr;
  if (!path.starts_with('/')) {
    std::error_code error;
    const std::string folder = std::filesystem::current_path(error).string();
    if (error) return nullptr;
    path = (folder == "/" ? "" : folder) + '/' + path;
  }
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return new NSURL(std::move(path));
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer,
                                                 CFIndex length, Boolean) {
  if (buffer == nullptr || length <= 0) return nullptr;
  return NSURL::CreateWithPath(
      std::string(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(length)));
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef url, CFURLPathStyle style) {
  return style == kCFURLPOSIXPathStyle ? NewStringFromPath(url->Path()) : nullptr;
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean, UInt8* buffer,
                                         CFIndex buffer_length) {
  const std::string& path = url->Path();
  if (static_cast<CFIndex>(path.size()) >= buffer_length) return false;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return true;
}

Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef, CFURLRef url, CFDataRef* data,
                                                 CFDictionaryRef* properties,
                                                 CFArrayRef desired_properties,
                                                 SInt32* error_code) {
  if (data != nullptr) *data = nullptr;
  if (properties != nullptr) *properties = nullptr;
  if (desired_properties != nullptr && desired_properties->count() > 0) {
    return Answer(paramErr, error_code);
  }
  std::string content;
  const int error = host::ReadWholeFile(host::ResolvePath(url->Path()), &content);
  if (error == 0 && data != nullptr) *data = NSData::Create(std::move(content));
  return Answer(host::StatusFromErrno(error), error_code);
}

Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef data,
                                              CFDictionaryRef properties, SInt32* error_code) {
  if (data == nullptr || properties != nullptr) return Answer(paramErr, error_code);
  const int error = host::ReplaceFile(host::ResolvePath(url->Path()), data->View()).error;
  return Answer(host::StatusFromErrno(error), error_code);
}

}  // namespace orvik
