#include "files/windows_file_refs.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "files/windows_file_paths.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"

namespace orvik {
namespace {

constexpr OptionBits kKeptForLong = 0;

std::u16string_view WithoutTrailingSlashes(std::u16string_view path) {
  while (path.size() > 1 && path.back() == u'/') path.remove_suffix(1);
  return path;
}

// "/a/b" gives "/a" and "b", a lone name the current folder.
void SplitPath(std::u16string_view path, std::u16string_view* parent, std::u16string_view* name) {
  const std::size_t slash = path.rfind(u'/');
  if (slash == std::u16string_view::npos) {
    *parent = u".";
    *name = path;
  } else {
    *parent = path.substr(0, std::max<std::size_t>(slash, 1));
    *name = path.substr(slash + 1);
  }
}

OSErr ReferenceForText(std::u16string_view path, OptionBits options, FSRef* ref) {
  const std::optional<std::string> bytes = host::FileNameToBytes(path);
  if (!bytes || bytes->empty()) return fnfErr;
  const OSStatus status = FSPathMakeRefWithOptions(
      reinterpret_cast<const UInt8*>(bytes->c_str()),
      kFSPathMakeRefDoNotFollowLeafSymlink | kFSPathMakeRefAnySpelling | options, ref, nullptr);
  return status == noErr ? OSErr{noErr} : OSErr{fnfErr};
}

OSErr ParentAndName(const char16_t* path, OptionBits options, FSRef* parent, HFSUniStr255* name) {
  if (path == nullptr || parent == nullptr || name == nullptr) return fnfErr;
  std::u16string_view folder;
  std::u16string_view leaf;
  SplitPath(WithoutTrailingSlashes(path), &folder, &leaf);
  if (leaf.empty() || leaf.size() > std::size(name->unicode)) return fnfErr;
  if (const OSErr status = ReferenceForText(folder, options, parent)) return status;
  name->length = static_cast<UInt16>(leaf.size());
  std::copy(leaf.begin(), leaf.end(), name->unicode);
  return noErr;
}

// Makes the last component, which was looked up and not found. `ref` may be null.
OSErr Create(const FSRef& parent, const HFSUniStr255& name, bool is_directory, FSRef* ref) {
  return is_directory ? FSCreateDirectoryUnicode(&parent, name.length, name.unicode, kFSCatInfoNone,
                                                 nullptr, ref, nullptr, nullptr)
                      : FSCreateFileUnicode(&parent, name.length, name.unicode, kFSCatInfoNone,
                                            nullptr, ref, nullptr);
}

}  // namespace

OSErr FindFileBriefly(const char16_t* path, FSRef* ref) {
  if (path == nullptr) return fnfErr;
  return ReferenceForText(WithoutTrailingSlashes(path), kFSPathMakeRefBriefly, ref);
}

OSErr FindParentBriefly(const char16_t* path, FSRef* parent, HFSUniStr255* name) {
  return ParentAndName(path, kFSPathMakeRefBriefly, parent, name);
}

OSErr CreateBriefly(const char16_t* path, bool is_directory) {
  FSRef found;
  if (FindFileBriefly(path, &found) == noErr) return noErr;
  FSRef parent;
  HFSUniStr255 name;
  if (const OSErr status = FindParentBriefly(path, &parent, &name)) return status;
  return Create(parent, name, is_directory, nullptr);
}

OSErr GetFSRefFromFilename(const char16_t* path, FSRef* ref, bool create, bool is_directory) {
  if (path == nullptr || ref == nullptr) return fnfErr;
  const OSErr found = ReferenceForText(WithoutTrailingSlashes(path), kKeptForLong, ref);
  if (found == noErr || !create) return found;
  FSRef parent;
  HFSUniStr255 name;
  if (const OSErr status = GetParentFSRAndNameFromFilePath(path, &parent, &name)) return status;
  const OSErr created = Create(parent, name, is_directory, ref);
  // Somebody else may have made it meanwhile.
  if (created != dupFNErr) return created;
  return FSMakeFSRefUnicode(&parent, name.length, name.unicode, kTextEncodingUnknown, ref);
}

OSErr GetParentFSRAndNameFromFilePath(const char16_t* path, FSRef* parent, HFSUniStr255* name) {
  return ParentAndName(path, kKeptForLong, parent, name);
}

}  // namespace orvik
