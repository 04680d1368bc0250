// How references and volumes are made and followed, for the other files of the file manager. A
// volume is what the kernel calls a mount.
//
// Functions return 0 or an errno, except where they say so.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace orvik::carbon {

// The status of an errno, as the file manager's calls return it.
OSErr Status(int error);

enum class Leaf { kFollow, kKeep };  // whether a final symbolic link is followed

// The attributes of statx, with the time of creation.
int StatAt(int folder, const char* name, Leaf leaf, struct statx* out);
int StatPath(const std::string& path, Leaf leaf, struct statx* out);
int StatDescriptor(int descriptor, struct statx* out);

std::uint64_t DeviceOf(const struct statx& info);

// True when the information is that of the object the reference names.
bool IsReferent(const FSRef& ref, const struct statx& info);

// Makes a reference for the object at the path (relative paths count from the current folder).
// `out` may be null.
int MakeReference(std::string_view path, Leaf leaf, FSRef* ref, struct statx* out);

// The present path of the referent and what it is; ENOENT when it is gone. `out` may be null.
int LocateReference(const FSRef& ref, std::string* path, struct statx* out);

// The number of the volume on which an object lies, from statx with the mount id.
FSVolumeRefNum VolumeOf(const struct statx& info);

// Path of the folder in which the volume is mounted; "" when it is unknown.
std::string MountPointOf(FSVolumeRefNum volume);

}  // namespace orvik::carbon
