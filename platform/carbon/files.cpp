#include "platform/carbon/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "platform/carbon/catalog.h"
#include "platform/carbon/fsref_internal.h"
#include "host/at_path.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"

namespace orvik {
namespace carbon {

bool SetUniStr(std::string_view bytes, HFSUniStr255* name) {
  const std::u16string units = host::FileNameFromBytes(bytes);
  if (units.size() > 255) return false;
  name->length = static_cast<UInt16>(units.size());
  std::copy(units.begin(), units.end(), name->unicode);
  return true;
}

OSErr PathOfChild(const FSRef* parent, unsigned long length, const UniChar* name,
                  std::string* path) {
  if (parent == nullptr || (name == nullptr && length != 0)) return paramErr;
  if (length == 0 || length > 255) return bdNamErr;
  const std::optional<std::string> bytes = host::FileNameToBytes(std::u16string_view(name, length));
  if (!bytes || bytes->find('/') != std::string::npos || *bytes == "." || *bytes == "..") {
    return bdNamErr;
  }
  std::string folder;
  struct statx info {};
  if (const int error = LocateReference(*parent, &folder, &info))
    return static_cast<OSErr>(host::StatusFromErrno(error));
  if (S_ISLNK(info.stx_mode)) {
    if (const int error = StatPath(folder, Leaf::kFollow, &info)) {
      return static_cast<OSErr>(host::StatusFromErrno(error));
    }
  }
  if (!S_ISDIR(info.stx_mode)) return errFSNotAFolder;
  *path = ChildPath(folder, *bytes);
  return noErr;
}

}  // namespace carbon
namespace {

enum class Kind { kFile, kFolder };

OSErr Status(int error) {
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

void RemoveCreated(const host::AtPath& at, Kind kind) {
  unlinkat(at.folder(), at.name(), kind == Kind::kFolder ? AT_REMOVEDIR : 0);
}

OSErr CreateObject(Kind kind, const FSRef* parent, unsigned long name_length, const UniChar* name,
                   FSCatalogInfoBitmap which_info, const FSCatalogInfo* info, FSRef* new_ref,
                   FSSpec* new_spec, UInt32* new_id) {
  if ((which_info & ~kFSCatInfoSettableInfo) != 0 || (which_info != 0 && info == nullptr)) {
    return paramErr;
  }
  std::string path;
  if (const OSErr status = carbon::PathOfChild(parent, name_length, name, &path)) return status;
  const host::AtPath at{path};
  if (at.error() != 0) return Status(at.error());
  const bool needs_look = which_info != kFSCatInfoNone || new_id != nullptr;
  int descriptor = -1;
  if (kind == Kind::kFolder) {
    if (mkdirat(at.folder(), at.name(), 0777) != 0) return Status(errno);
    if (needs_look) {
      descriptor = openat(at.folder(), at.name(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }
  } else {
    descriptor = openat(at.folder(), at.name(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) return Status(errno);
  }
  struct statx on_disk {};
  OSErr status = noErr;
  if (needs_look) {
    status = Status(descriptor < 0 ? errno : carbon::StatDescriptor(descriptor, &on_disk));
  }
  if (status == noErr && which_info != kFSCatInfoNone) {
    status = carbon::ApplyCatalogInfo({descriptor, nullptr}, on_disk, which_info, *info);
  }
  if (status == noErr && new_ref != nullptr) {
    status = Status(carbon::MakeReference(path, carbon::Leaf::kKeep, carbon::Hold::kAnchored,
                                          new_ref, nullptr));
  }
  if (descriptor >= 0) close(descriptor);
  if (status != noErr) {
    RemoveCreated(at, kind);
    return status;
  }
  if (new_id != nullptr) *new_id = static_cast<UInt32>(on_disk.stx_ino);
  if (new_spec != nullptr) {
    new_spec->parent = *parent;
    new_spec->name.length = static_cast<UInt16>(name_length);
    std::copy_n(name, name_length, new_spec->name.unicode);
  }
  return noErr;
}

}  // namespace

OSErr FSMakeFSRefUnicode(const FSRef* parent, unsigned long name_length, const UniChar* name,
                         TextEncodingHint, FSRef* new_ref) {
  if (new_ref == nullptr) return paramErr;
  std::string path;
  if (const OSErr status = carbon::PathOfChild(parent, name_length, name, &path)) return status;
  return Status(
      carbon::MakeReference(path, carbon::Leaf::kKeep, carbon::Hold::kAnchored, new_ref, nullptr));
}

OSErr FSCreateFileUnicode(const FSRef* parent, unsigned long name_length, const UniChar* name,
                          FSCatalogInfoBitmap which_info, const FSCatalogInfo* info, FSRef* new_ref,
                          FSSpec* new_spec) {
  return CreateObject(Kind::kFile, parent, name_length, name, which_info, info, new_ref, new_spec,
                      nullptr);
}

OSErr FSCreateDirectoryUnicode(const FSRef* parent, unsigned long name_length, const UniChar* name,
                               FSCatalogInfoBitmap which_info, const FSCatalogInfo* info,
                               FSRef* new_ref, FSSpec* new_spec, UInt32* new_dir_id) {
  return CreateObject(Kind::kFolder, parent, name_length, name, which_info, info, new_ref, new_spec,
                      new_dir_id);
}

OSErr FSDeleteObject(const FSRef* ref) {
  if (ref == nullptr) return paramErr;
  std::string path;
  struct statx info {};
  if (const int error = carbon::LocateReference(*ref, &path, &info)) return Status(error);
  if (carbon::IsImmutable(info)) return fLckdErr;
  if (S_ISREG(info.stx_mode) || S_ISDIR(info.stx_mode)) {
    carbon::CatalogRecord record;
    if (const int error = carbon::ReadCatalogRecord({-1, &path}, &record)) return Status(error);
    if (record.locked) return fLckdErr;
  }
  const host::AtPath at{path};
  if (at.error() != 0) return Status(at.error());
  const int flags = S_ISDIR(info.stx_mode) ? AT_REMOVEDIR : 0;
  if (unlinkat(at.folder(), at.name(), flags) == 0) return noErr;
  const bool busy = errno == ENOTEMPTY || errno == EEXIST || errno == EBUSY;
  return busy ? fBsyErr : Status(errno);
}

}  // namespace orvik
