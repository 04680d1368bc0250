#include "platform/carbon/iteration.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "platform/carbon/catalog.h"
#include "platform/carbon/fsref_internal.h"
#include "host/at_path.h"
#include "platform/carbon/errno_status.h"

namespace orvik {
namespace {

OSErr Status(int error) {
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

UInt16 KindFlags(mode_t mode) {
  if (S_ISDIR(mode)) return kFSNodeIsDirectoryMask;
  return S_ISREG(mode) || S_ISLNK(mode) ? kFSNodeIsCopiedMask : 0;
}

}  // namespace

class FSDirectoryIterator {
 public:
  FSDirectoryIterator(DIR* stream, FSRef container)
      : stream_(stream), container_(std::move(container)) {}
  ~FSDirectoryIterator() { closedir(stream_); }
  FSDirectoryIterator(const FSDirectoryIterator&) = delete;
  FSDirectoryIterator& operator=(const FSDirectoryIterator&) = delete;

  // The next entry; null at the end and, with `error` set, on a failure.
  const dirent* Next(int* error) {
    for (;;) {
      errno = 0;
      const dirent* const entry = readdir(stream_);
      if (entry == nullptr) {
        *error = errno;
        return nullptr;
      }
      if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
        return entry;
      }
    }
  }

  // Describes an entry; ENOENT when it vanished.
  int Describe(const dirent& entry, FSCatalogInfoBitmap which_info, FSCatalogInfo* info,
               FSRef* ref) const {
    const bool kind_only = which_info == kFSCatInfoKindOnly && entry.d_type != DT_UNKNOWN;
    const bool wants_info = info != nullptr && which_info != kFSCatInfoNone && !kind_only;
    if (info != nullptr && kind_only) info->nodeFlags = KindFlags(DTTOIF(entry.d_type));
    if (!wants_info && ref == nullptr) return 0;
    struct statx on_disk {};
    const int error = carbon::StatAt(dirfd(stream_), entry.d_name, carbon::Leaf::kKeep, &on_disk);
    if (error != 0) return error;
    const std::string path = carbon::ChildPath(container_.path, entry.d_name);
    if (ref != nullptr) carbon::NoteReference(path, on_disk, ref);
    if (!wants_info) return 0;
    if (which_info & kFSCatInfoKindOnly) info->nodeFlags = KindFlags(on_disk.stx_mode);
    return carbon::ReadCatalogInfo({-1, &path}, on_disk, which_info & ~kFSCatInfoKindOnly, info);
  }

  const FSRef& container() const { return container_; }

 private:
  DIR* stream_;
  FSRef container_;
};

OSErr FSOpenIterator(const FSRef* container, FSIteratorFlags flags, FSIterator* iterator) {
  if (container == nullptr || iterator == nullptr) return paramErr;
  *iterator = nullptr;
  FSRef folder;
  struct statx expected {};
  if (const int error = carbon::LocateReference(*container, &folder.path, &expected)) {
    return Status(error);
  }
  const bool follow = S_ISLNK(expected.stx_mode) && (flags & kFSIterateDelete) == 0;
  if (!follow && !S_ISDIR(expected.stx_mode)) return errFSNotAFolder;
  const host::AtPath at{folder.path};
  if (at.error() != 0) return Status(at.error());
  const int descriptor = openat(at.folder(), at.name(),
                                O_RDONLY | O_DIRECTORY | O_CLOEXEC | (follow ? 0 : O_NOFOLLOW));
  if (descriptor < 0) return errno == ENOTDIR ? OSErr{errFSNotAFolder} : Status(errno);
  struct statx opened {};
  int error = carbon::StatDescriptor(descriptor, &opened);
  if (error == 0 && !follow && !carbon::IsReferent(*container, opened)) error = ENOENT;
  DIR* const stream = error == 0 ? fdopendir(descriptor) : nullptr;
  if (stream == nullptr) {
    if (error == 0) error = errno;
    close(descriptor);
    return Status(error);
  }
  std::unique_ptr<DIR, int (*)(DIR*)> owned(stream, &closedir);
  *iterator = new FSDirectoryIterator(stream, std::move(folder));
  static_cast<void>(owned.release());
  return noErr;
}

OSErr FSGetCatalogInfoBulk(FSIterator iterator, ItemCount maximum_objects,
                           ItemCount* actual_objects, Boolean* container_changed,
                           FSCatalogInfoBitmap which_info, FSCatalogInfo* infos, FSRef* refs,
                           FSSpec* specs, HFSUniStr255* names) {
  if (iterator == nullptr || actual_objects == nullptr || maximum_objects == 0) return paramErr;
  *actual_objects = 0;
  if (container_changed != nullptr) *container_changed = 0;
  while (*actual_objects < maximum_objects) {
    int error = 0;
    const dirent* const entry = iterator->Next(&error);
    if (entry == nullptr) return error != 0 ? Status(error) : OSErr{errFSNoMoreItems};
    const ItemCount index = *actual_objects;
    error = iterator->Describe(*entry, which_info, infos != nullptr ? &infos[index] : nullptr,
                               refs != nullptr ? &refs[index] : nullptr);
    if (error == ENOENT) continue;
    if (error != 0) return Status(error);
    if (names != nullptr) carbon::SetUniStr(entry->d_name, &names[index]);
    if (specs != nullptr) {
      specs[index].parent = iterator->container();
      carbon::SetUniStr(entry->d_name, &specs[index].name);
    }
    ++*actual_objects;
  }
  return noErr;
}

OSErr FSCloseIterator(FSIterator iterator) {
  if (iterator == nullptr) return paramErr;
  delete iterator;
  return noErr;
}

}  // namespace orvik
