#include "platform/core_foundation/url.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/carbon/fsref.h"
#include "platform/foundation/file_path.h"
#include "platform/foundation/string.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"
#include "host/replace_file.h"
#include "host/system_root.h"

namespace orvik {

namespace {

std::optional<std::string> PathBytes(CFStringRef text) {
  return text == nullptr ? std::nullopt : host::FileNameToBytes(text->ToUnits());
}

bool Answer(int status, SInt32* error_code) {
  if (error_code != nullptr) *error_code = status;
  return status == noErr;
}

}  // namespace

NSURL::NSURL(std::string path, bool is_directory)
    : path_(std::move(path)), is_directory_(is_directory) {}

const NSURL* NSURL::CreateWithPath(std::string path, bool is_directory) {
  if (path.empty() || path.find('\0') != std::string::npos) return nullptr;
  if (!path.starts_with('/')) {
    std::error_code error;
    const std::string folder = std::filesystem::current_path(error).string();
    if (error) return nullptr;
    path = (folder == "/" ? "" : folder) + '/' + path;
  }
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return new NSURL(std::move(path), is_directory);
}

CFTypeID NSURL::typeID() const {
  return CFURLGetTypeID();
}

bool NSURL::isEqual(const NSObject* other) const {
  if (other == nullptr || other->typeID() != CFURLGetTypeID()) return false;
  const auto* url = static_cast<const NSURL*>(other);
  return path_ == url->path_ && is_directory_ == url->is_directory_;
}

CFHashCode NSURL::hash() const {
  return std::hash<std::string>()(path_);
}

NSObject* NSURL::copy() const {
  return const_cast<NSURL*>(Retained(this));
}

const NSString* NSURL::description() const {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  static constexpr std::string_view kUnescaped = "-._~/!$&'()*+,;=:@";
  std::string text = "file://";
  for (const char character : path_) {
    const auto byte = static_cast<unsigned char>(character);
    const bool is_letter_or_digit = byte < 0x80 && std::isalnum(byte) != 0;
    if (is_letter_or_digit || kUnescaped.find(character) != std::string_view::npos) {
      text += character;
    } else {
      text += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  if (is_directory_ && !text.ends_with('/')) text += '/';
  return Autoreleased(NSString::NewFromAscii(text));
}

CFTypeID CFURLGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer,
                                                 CFIndex length, Boolean is_directory) {
  if (buffer == nullptr || length <= 0) return nullptr;
  return NSURL::CreateWithPath(
      std::string(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(length)),
      is_directory);
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef path, CFURLPathStyle style,
                                       Boolean is_directory) {
  std::optional<std::string> bytes = PathBytes(path);
  if (!bytes || style != kCFURLPOSIXPathStyle) return nullptr;
  return NSURL::CreateWithPath(*std::move(bytes), is_directory);
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

CFStringRef CFURLGetString(CFURLRef url) {
  return url->description();
}

Boolean CFURLHasDirectoryPath(CFURLRef url) {
  return url->isDirectory();
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url) {
  const std::string_view path = url->Path();
  return NewStringFromPath(path == "/" ? path : path.substr(path.rfind('/') + 1));
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef url) {
  const std::string& path = url->Path();
  return NSURL::CreateWithPath(path.substr(0, std::max<std::size_t>(path.rfind('/'), 1)), true);
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef url, CFStringRef component,
                                               Boolean is_directory) {
  const std::optional<std::string> bytes = PathBytes(component);
  if (!bytes) return nullptr;
  std::string path = url->Path();
  if (!path.ends_with('/')) path += '/';
  return NSURL::CreateWithPath(path + *bytes, is_directory);
}

Boolean CFURLGetFSRef(CFURLRef url, FSRef* ref) {
  return FSPathMakeRefWithOptions(reinterpret_cast<const UInt8*>(url->Path().c_str()),
                                  kFSPathMakeRefDoNotFollowLeafSymlink, ref, nullptr) == noErr;
}

CFURLRef CFURLCreateFromFSRef(CFAllocatorRef, const FSRef* ref) {
  std::string path;
  if (FSRefCopyPath(ref, &path) != noErr) return nullptr;
  std::error_code error;
  const bool is_directory =
      std::filesystem::is_directory(std::filesystem::symlink_status(path, error));
  return NSURL::CreateWithPath(std::move(path), is_directory);
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
