#include "platform/carbon/forks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/carbon/fork_names.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/carbon/open_forks.h"
#include "platform/host/errno_status.h"

namespace orvik {
namespace {

using carbon::OpenFork;

OSErr Status(int error) {
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

// The file of a reference, open for its attributes.
int OpenForAttributes(const FSRef& ref, OSErr* status) {
  bool may_write = false;
  return carbon::OpenDataFork(ref, carbon::kReadWithoutClaims, &may_write, status);
}

OSErr AttributeFor(unsigned long length, const UniChar* name, std::string* attribute) {
  if (name == nullptr && length != 0) return paramErr;
  attribute->clear();
  if (length == 0) return noErr;
  std::optional<std::string> found = carbon::AttributeOfFork(std::u16string_view(name, length));
  if (!found) return errFSBadForkName;
  *attribute = std::move(*found);
  return noErr;
}

// The place a mode and an offset mean.
OSErr PlaceInFork(const OpenFork& fork, UInt16 mode, SInt64 offset, SInt64* place) {
  SInt64 base = 0;
  switch (mode & 3) {
    case fsAtMark:
      *place = fork.position;
      return noErr;
    case fsFromStart:
      break;
    case fsFromLEOF:
      if (const int error = fork.Size(&base)) return Status(error);
      break;
    default:
      base = fork.position;
  }
  if (offset > 0 && base > std::numeric_limits<SInt64>::max() - offset) return posErr;
  if (base + offset < 0) return posErr;
  *place = base + offset;
  return noErr;
}

}  // namespace

OSErr FSGetDataForkName(HFSUniStr255* name) {
  if (name == nullptr) return paramErr;
  name->length = 0;
  return noErr;
}

OSErr FSCreateFork(const FSRef* ref, unsigned long name_length, const UniChar* name) {
  if (ref == nullptr) return paramErr;
  std::string attribute;
  if (const OSErr status = AttributeFor(name_length, name, &attribute)) return status;
  OSErr status = noErr;
  const int descriptor = OpenForAttributes(*ref, &status);
  if (descriptor < 0) return status;
  if (!attribute.empty() && fsetxattr(descriptor, attribute.c_str(), "", 0, XATTR_CREATE) != 0) {
    status = errno == EEXIST ? OSErr{errFSForkExists} : Status(errno);
  }
  close(descriptor);
  return status;
}

OSErr FSOpenFork(const FSRef* ref, unsigned long name_length, const UniChar* name,
                 SInt8 permissions, FSIORefNum* fork) {
  if (ref == nullptr || fork == nullptr) return paramErr;
  std::string attribute;
  if (const OSErr status = AttributeFor(name_length, name, &attribute)) return status;
  OSErr status = noErr;
  bool may_write = permissions != fsRdPerm;
  const int descriptor = attribute.empty()
                             ? carbon::OpenDataFork(*ref, permissions, &may_write, &status)
                             : OpenForAttributes(*ref, &status);
  if (descriptor < 0) return status;
  auto opened = std::make_shared<OpenFork>(descriptor, std::move(attribute), may_write);
  SInt64 size = 0;
  if (const int error = opened->Size(&size)) return Status(error);
  const FSIORefNum number = carbon::RegisterFork(std::move(opened));
  if (number == 0) return tmfoErr;
  *fork = number;
  return noErr;
}

OSErr FSCloseFork(FSIORefNum fork) {
  const std::shared_ptr<OpenFork> closing = carbon::UnregisterFork(fork);
  return closing ? Status(closing->Close()) : OSErr{rfNumErr};
}

OSErr FSReadFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                 unsigned long request_count, void* buffer, unsigned long* actual_count) {
  if (actual_count != nullptr) *actual_count = 0;
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  if (buffer == nullptr && request_count != 0) return paramErr;
  SInt64 place = 0;
  if (const OSErr status = PlaceInFork(*open, position_mode, position_offset, &place)) {
    return status;
  }
  if ((position_mode & noCacheMask) != 0 && open->is_data_fork()) {
    posix_fadvise(open->descriptor(), place, static_cast<SInt64>(request_count),
                  POSIX_FADV_NOREUSE);
  }
  unsigned long done = 0;
  const int error = open->Read(place, request_count, static_cast<char*>(buffer), &done);
  open->position = place + static_cast<SInt64>(done);
  if (actual_count != nullptr) *actual_count = done;
  if (error != 0) return Status(error);
  return done < request_count ? OSErr{eofErr} : OSErr{noErr};
}

OSErr FSWriteFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                  unsigned long request_count, const void* buffer, unsigned long* actual_count) {
  if (actual_count != nullptr) *actual_count = 0;
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  if (buffer == nullptr && request_count != 0) return paramErr;
  SInt64 place = 0;
  if (const OSErr status = PlaceInFork(*open, position_mode, position_offset, &place)) {
    return status;
  }
  unsigned long done = 0;
  const int error = open->Write(place, request_count, static_cast<const char*>(buffer), &done);
  open->position = place + static_cast<SInt64>(done);
  if (actual_count != nullptr) *actual_count = done;
  return error == EBADF ? OSErr{wrPermErr} : Status(error);
}

OSErr FSGetForkSize(FSIORefNum fork, SInt64* fork_size) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  if (fork_size == nullptr) return paramErr;
  return Status(open->Size(fork_size));
}

OSErr FSSetForkSize(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  SInt64 size = 0;
  if (const OSErr status = PlaceInFork(*open, position_mode, position_offset, &size)) return status;
  const int error = open->Resize(size);
  if (error != 0) return error == EBADF ? OSErr{wrPermErr} : Status(error);
  open->position = std::min(open->position, size);
  return noErr;
}

OSErr FSGetForkPosition(FSIORefNum fork, SInt64* position) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  if (position == nullptr) return paramErr;
  *position = open->position;
  return noErr;
}

OSErr FSSetForkPosition(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  return PlaceInFork(*open, position_mode, position_offset, &open->position);
}

OSErr FSAllocateFork(FSIORefNum fork, FSAllocationFlags, UInt16 position_mode,
                     SInt64 position_offset, UInt64 request_count, UInt64* actual_count) {
  if (actual_count != nullptr) *actual_count = 0;
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  SInt64 place = 0;
  if (const OSErr status = PlaceInFork(*open, position_mode, position_offset, &place)) {
    return status;
  }
  const int error = open->Reserve(place, request_count);
  if (error == EOPNOTSUPP || error == ENOSYS) return noErr;
  if (error != 0) return error == EBADF ? OSErr{wrPermErr} : Status(error);
  if (actual_count != nullptr) *actual_count = request_count;
  return noErr;
}

OSErr FSIterateForks(const FSRef* ref, CatPositionRec* position, HFSUniStr255* name,
                     SInt64* fork_size, UInt64* fork_physical_size) {
  if (ref == nullptr || position == nullptr) return paramErr;
  if (position->initialize == 0) *position = {1, 0};
  FSCatalogInfo info;
  if (const OSErr status = FSGetCatalogInfo(ref, kFSCatInfoDataSizes | kFSCatInfoPermissions, &info,
                                            nullptr, nullptr, nullptr)) {
    return status;
  }
  const bool link = S_ISLNK(info.permissions.mode);
  if (!link && !S_ISREG(info.permissions.mode)) return notAFileErr;
  if (position->priv == 0) {
    if (name != nullptr) name->length = 0;
    if (fork_size != nullptr) *fork_size = static_cast<SInt64>(info.dataLogicalSize);
    if (fork_physical_size != nullptr) *fork_physical_size = info.dataPhysicalSize;
    ++position->priv;
    return noErr;
  }
  if (link) return errFSNoMoreItems;
  OSErr status = noErr;
  const int descriptor = OpenForAttributes(*ref, &status);
  if (descriptor < 0) return status;
  std::vector<std::string> attributes;
  bool has_record = false;
  int error = carbon::ListForkAttributes(descriptor, &attributes, &has_record);
  const auto index = static_cast<std::size_t>(position->priv) - 1;
  if (error == 0 && index >= attributes.size()) {
    status = errFSNoMoreItems;
  } else if (error == 0) {
    const ssize_t size = fgetxattr(descriptor, attributes[index].c_str(), nullptr, 0);
    if (size < 0) error = errno;
    if (name != nullptr) {
      carbon::SetUniStr(std::string_view(attributes[index]).substr(5), name);
    }
    if (fork_size != nullptr) *fork_size = size;
    if (fork_physical_size != nullptr) *fork_physical_size = static_cast<UInt64>(size);
    ++position->priv;
  }
  close(descriptor);
  return error != 0 ? Status(error) : status;
}

}  // namespace orvik
