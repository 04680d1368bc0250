#include "files/path_arguments.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "host/file_names.h"
#include "host/paths.h"
#include "host/replace_file.h"
#include "host/system.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {

const char16_t* PathArgument(const CAtlString& path) {
  return path.View().find(u'\0') == std::u16string_view::npos ? path.GetString() : nullptr;
}

std::optional<std::string> PathForLibc(std::u16string_view path) {
  const std::optional<std::string> bytes = host::FileNameToBytes(path);
  if (!bytes || bytes->empty()) return std::nullopt;
  return host::PathOnDisk(host::ResolvePath(host::WithoutTrailingSlashes(*bytes)));
}

std::optional<std::string> PathForLibc(const CAtlString& path) {
  return PathForLibc(path.View());
}

std::optional<std::string> PathForLibc(const char16_t* path) {
  return path == nullptr ? std::nullopt : PathForLibc(std::u16string_view(path));
}

CAtlString PathFromUnits(std::u16string_view units) {
  CAtlString path(units);
  if (path.Find(u'\\') >= 0) path.Replace(u'\\', char16_t{0xDC5C});
  return path;
}

CAtlString PathFromBytes(std::string_view bytes) {
  return PathFromUnits(host::FileNameFromBytes(bytes));
}

namespace {

OSErr MakeReference(const std::string& path, OptionBits options, FSRef* ref) {
  const OSStatus status =
      FSPathMakeRefWithOptions(reinterpret_cast<const UInt8*>(path.c_str()), options, ref, nullptr);
  return status == noErr ? OSErr{noErr} : OSErr{fnfErr};
}

int MakeObject(const std::string& path, bool is_directory) {
  if (is_directory) return host::MakeFolderAt(path, 0777);
  return host::OpenForOutput(path, O_WRONLY | O_CREAT | O_EXCL) ? 0 : errno;
}

}  // namespace

OSErr GetFSRefFromFilename(const char16_t* path, FSRef* ref, bool create, bool is_directory) {
  const std::optional<std::string> bytes = PathForLibc(path);
  if (!bytes || ref == nullptr) return fnfErr;
  const OSErr found = MakeReference(*bytes, kFSPathMakeRefDoNotFollowLeafSymlink, ref);
  if (found == noErr || !create) return found;
  const int error = MakeObject(*bytes, is_directory);
  // Another process may have made it meanwhile.
  if (error != 0 && error != EEXIST) return static_cast<OSErr>(host::StatusFromErrno(error));
  return MakeReference(*bytes, kFSPathMakeRefDoNotFollowLeafSymlink, ref);
}

OSErr GetParentFSRAndNameFromFilePath(const char16_t* path, FSRef* parent, HFSUniStr255* name) {
  const std::optional<std::string> bytes = PathForLibc(path);
  if (!bytes || parent == nullptr || name == nullptr) return fnfErr;
  const std::u16string leaf = host::FileNameFromBytes(host::LeafName(*bytes));
  if (leaf.empty() || leaf.size() > std::size(name->unicode)) return fnfErr;
  const std::string folder(host::ParentPath(*bytes));
  if (const OSErr status = MakeReference(folder, kFSPathMakeRefDefaultOptions, parent)) {
    return status;
  }
  name->length = static_cast<UInt16>(leaf.size());
  std::copy(leaf.begin(), leaf.end(), name->unicode);
  return noErr;
}

std::optional<std::string> PathOfReference(const FSRef& ref) {
  constexpr std::size_t kLongest = std::size_t{1} << 24;
  for (std::size_t size = 1024; size <= kLongest; size *= 4) {
    std::string path(size, '\0');
    const OSStatus status = FSRefMakePath(&ref, reinterpret_cast<UInt8*>(path.data()),
                                          static_cast<UInt32>(path.size()));
    if (status == noErr) return path.c_str();
    if (status != pathTooLongErr) break;
  }
  return std::nullopt;
}

}  // namespace orvik
